#ifndef VEXAPLATFORM_TOOL_SECCOMP_FILTER_H_
#define VEXAPLATFORM_TOOL_SECCOMP_FILTER_H_

#include <linux/filter.h>

#include <vector>

namespace vexaplatform {

// Whether the kernel filters system calls for whoever asks.
bool HasSeccomp();

enum class ModeChanges { kDenied, kAllowed };

// The filter for a tool: it makes no socket, starts no other process, signals nobody, leaves its
// process group and session as they are, and touches neither the kernel's other facilities nor, if
// so told, the mode, owner and attributes of a file. Empty where it cannot be made. Throws
// std::bad_alloc only.
const std::vector<sock_filter>& ToolFilter(ModeChanges changes);

// Puts the calling thread, which must have renounced new privileges, and what it executes under the
// filter. 0, or -1 with errno. Allocates no memory.
int EnterFilter(const std::vector<sock_filter>& filter);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_SECCOMP_FILTER_H_
