#ifndef VEXAPLATFORM_TOOL_TOOL_POLICY_H_
#define VEXAPLATFORM_TOOL_TOOL_POLICY_H_

#include <string>

namespace vexaplatform {

// The folder with ImageMagick's policy for our runs: in share/ of the tree that this library, or
// the program that holds it, is installed or built in. "" when there is none.
const std::string& ToolPolicyFolder();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_POLICY_H_
