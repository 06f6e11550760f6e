#ifndef VEXAPLATFORM_TOOL_MACHINE_ERROR_H_
#define VEXAPLATFORM_TOOL_MACHINE_ERROR_H_

#include "platform/tool/tool_outcome.h"
#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// Of a tool that met a limit: errno of what the machine kept from it, so that it might not have met
// the limit elsewhere, or at another time; 0 when its own work has led it there. A limit may be the
// host's own lower one, and memory less than the limit allows.
int MachineErrorAt(ToolLimit limit, const ToolLimits& limits, const ToolOutcome& outcome);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_MACHINE_ERROR_H_
