#ifndef VEXATHUMB_TESTS_UNIT_SERVICE_X3F_H_
#define VEXATHUMB_TESTS_UNIT_SERVICE_X3F_H_

#include <string>

namespace vexathumb::service {

// Writes a camera's raw file with a JPEG preview of 800 by 600 pixels and kit::kPictureCorners once
// it is turned by `clockwise_degrees`. Its type is one that dcraw knows and the metadata reader
// does not.
void WriteX3f(const std::string& path, int clockwise_degrees = 0);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_TESTS_UNIT_SERVICE_X3F_H_
