#ifndef VEXATHUMB_TESTS_KIT_PICTURES_HEIF_ORIENTATION_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_HEIF_ORIENTATION_H_

#include <string>

namespace vexathumb::kit {

// The bytes of a HEIF file of one picture, as heif-enc writes it, with the container's own turn and
// mirror for an EXIF orientation from 2 to 8 added where heif-enc has written none. Throws
// std::runtime_error when a box that this needs is missing.
std::string WithContainerOrientation(std::string heif, int orientation);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_HEIF_ORIENTATION_H_
