#ifndef VEXAPLATFORM_TOOL_SUPERVISOR_H_
#define VEXAPLATFORM_TOOL_SUPERVISOR_H_

#include "platform/tool/tool_order.h"
#include "platform/tool/tool_outcome.h"
#include "platform/tool/tool_streams.h"

namespace vexaplatform {

// Runs the tool under a supervisor, a process that shares this one's memory, and returns when
// nothing of the tool is left: no process of its group, no private folder. When the host dies
// meanwhile, the supervisor kills the tool and removes what it leaves, the destination included.
//
// The supervisor is no child that wait(2) or SIGCHLD tells a host of. The calling thread is held up
// without handling signals, so that it is one that blocks them all. Throws std::bad_alloc only,
// before anything runs.
//
// `started_pipe` gets an octet, 1 when the program runs, 0 when it cannot; may be -1. The
// descriptors stay the caller's.
ToolOutcome RunSupervised(const ToolOrder& order, const ToolStreams& streams, int started_pipe);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_SUPERVISOR_H_
