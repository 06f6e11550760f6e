#ifndef VEXAPLATFORM_TOOL_TOOL_PROCESS_H_
#define VEXAPLATFORM_TOOL_TOOL_PROCESS_H_

#include "platform/tool/tool_launch.h"

namespace vexaplatform {

// Becomes the tool: takes its streams, goes under limits and confinement, executes. For a process
// of its own that shares its parent's memory and holds it up until then; the parent's process id is
// `parent`. Does not return: on failure it ends, with the cause in `launch->error`.
[[noreturn]] void BecomeTool(ToolLaunch* launch, pid_t parent);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_PROCESS_H_
