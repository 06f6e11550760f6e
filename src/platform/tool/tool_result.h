#ifndef VEXAPLATFORM_TOOL_TOOL_RESULT_H_
#define VEXAPLATFORM_TOOL_TOOL_RESULT_H_

#include <string>

namespace vexaplatform {

// Whether a tool that says it succeeded has written all of its picture: there is something, and a
// BMP has the length that it tells, a JPEG, PNG or GIF its end. Other formats are taken as they
// are.
bool IsWholePicture(const std::string& path);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_RESULT_H_
