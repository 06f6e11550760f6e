#ifndef VEXAPLATFORM_TOOL_TOOL_USAGE_H_
#define VEXAPLATFORM_TOOL_TOOL_USAGE_H_

#include <sys/types.h>

#include <cstdint>

#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// What a running process has taken that the kernel sets no limit to by itself.
struct ToolUsage {
  uint64_t written = 0;  // bytes into files and streams, whether they are still there or not
  uint64_t tasks = 0;    // threads that it has now
};

// Of a process of this user's; nothing where the kernel does not tell. Allocates no memory.
ToolUsage UsageOf(pid_t process);

// Whether the kernel tells.
bool TellsUsage();

// The first of the limits that is passed, or kNone.
ToolLimit LimitPassed(const ToolUsage& usage, const ToolLimits& limits);

// How many threads all users of this machine have; 0 where the kernel does not tell. Allocates no
// memory.
uint64_t TasksOfMachine();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_USAGE_H_
