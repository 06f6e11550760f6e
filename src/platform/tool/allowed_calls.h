#ifndef VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_
#define VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_

#include <linux/filter.h>

#include <vector>

#include "platform/tool/tool_paths.h"

namespace vexaplatform {

// The filter for a tool: a list of what it is allowed, and all else fails with EPERM. It makes no
// socket, starts no process, signals nobody, holds no memory but its own, changes no limit, no
// schedule and, but for mv, no mode, owner, time or attribute of a file. Empty where it cannot be
// made. Throws std::bad_alloc only.
const std::vector<sock_filter>& ToolFilter(Tool tool);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_ALLOWED_CALLS_H_
