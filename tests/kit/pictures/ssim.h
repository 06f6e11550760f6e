#ifndef VEXATHUMB_TESTS_KIT_PICTURES_SSIM_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_SSIM_H_

#include <string>

namespace vexathumb::kit {

// How alike two pictures of one size look, by the structural similarity of their brightness: 1 for
// the same picture. The mean over windows of 8 by 8 pixels. Throws std::runtime_error when a file
// is no picture or the sizes differ.
double Ssim(const std::string& one, const std::string& other);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_SSIM_H_
