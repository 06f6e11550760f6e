#ifndef VEXAPLATFORM_TOOL_TOOL_PROCESS_H_
#define VEXAPLATFORM_TOOL_TOOL_PROCESS_H_

#include <sys/types.h>

#include "platform/tool/tool_order.h"

namespace vexaplatform {

// What a process that becomes a tool needs besides its order, all of it made by its parent.
struct ToolStart {
  char* const* argv;
  char* const* envp;
  pid_t parent;
  int input;     // become its standard streams; -1: /dev/null
  int output;    //
  int messages;  //
  int ruleset;   // of Landlock, or -1
};

// Becomes the tool: takes its streams, goes under limits and confinement, executes. For a process
// of its own that shares its parent's memory and holds it up until then. Does not return: on
// failure it ends, with the cause in `error`.
[[noreturn]] void BecomeTool(const ToolOrder& order, const ToolStart& start, int* error);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_PROCESS_H_
