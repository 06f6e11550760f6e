#ifndef VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_
#define VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_

#include <seccomp.h>

#include "platform/tool/tool_paths.h"

namespace vexaplatform {

// Adds the rules for what a tool is allowed, and for what it is told does not exist, to a filter
// that refuses everything. 0, or -1 when a rule cannot be added.
int AllowCalls(scmp_filter_ctx filter, Tool tool);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_
