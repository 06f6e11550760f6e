#ifndef VEXAPLATFORM_CHILD_PROCESS_H_
#define VEXAPLATFORM_CHILD_PROCESS_H_

#include <sys/types.h>

#include "unique_fd.h"

namespace vexaplatform {

// The two ends of a pipe. Neither is one of the descriptors 0, 1 and 2, which a child takes for its
// standard streams, and both are closed on exec.
struct Pipe {
  UniqueFd read_end;
  UniqueFd write_end;
};

// Makes a pipe. 0, or -1 with errno set.
int MakePipe(Pipe* pipe);

// The host's descriptors that become a child's standard input and output; -1 is /dev/null. Neither
// is 0, 1 or 2.
struct ChildStreams {
  int input = -1;
  int output = -1;
};

// Starts the program at `path` without copying the host's address space. All that makes a child
// different from its host is set here: its descriptors, signal mask and signal dispositions. 0 and
// its process id in `child`, which the caller waits for; -1 with errno set when it was not started.
int Spawn(const char* path, const char* const argv[], const ChildStreams& streams, pid_t* child);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_CHILD_PROCESS_H_
