#ifndef VEXAPLATFORM_TOOL_TOOL_ENVIRONMENT_H_
#define VEXAPLATFORM_TOOL_TOOL_ENVIRONMENT_H_

#include <string>
#include <vector>

#include "platform/tool/tool_paths.h"
#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// A tool's whole environment: nothing of the host's is in it. `temporary` is the folder for its own
// files; may be empty.
std::vector<std::string> ToolEnvironment(Tool tool, const ToolPaths& paths,
                                         const ToolLimits& limits, const std::string& temporary);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_ENVIRONMENT_H_
