#ifndef VEXATHUMB_TESTS_KIT_PICTURES_WHOLE_PICTURE_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_WHOLE_PICTURE_H_

#include <string>
#include <vector>

namespace vexathumb::kit {

// Whether the bytes are a JPEG, PNG, GIF or BMP that is there to its end, by the format's own
// account of that.
bool IsWholePicture(const std::string& bytes);

// The thumbnails in stores below `folder`, the file manager's, that are not whole.
std::vector<std::string> PartialThumbnails(const std::string& folder);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_WHOLE_PICTURE_H_
