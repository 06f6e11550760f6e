#ifndef VEXATHUMB_RENDER_CONFINEMENT_H_
#define VEXATHUMB_RENDER_CONFINEMENT_H_

#include <cstdint>
#include <vector>

namespace vexathumb::render {

struct ProcessLimits {
  uint64_t memory;            // bytes, what the process has now included
  uint64_t cpu_milliseconds;  // of all threads together
  uint64_t file_size;         // bytes of each file
};

// Makes what confining takes: once, before the processes are forked that confine themselves. False
// with errno where none could be confined, as in a container that refuses filters.
bool PrepareConfinement();

// Closes all descriptors of this process but these, and puts /dev/null in place of the standard
// streams. False with errno.
bool KeepOnly(std::vector<int> descriptors);

// Limits and confines this process, for good: no file can be opened, no socket and no process made,
// nobody signalled; what is worse than useless for a decoder ends it. Threads may be started. Where
// the kernel has no Landlock, seccomp is left. False with errno where the process must not go on.
bool Confine(const ProcessLimits& limits);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_CONFINEMENT_H_
