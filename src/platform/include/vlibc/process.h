#ifndef VEXAPLATFORM_VLIBC_PROCESS_H_
#define VEXAPLATFORM_VLIBC_PROCESS_H_

#include <stdio.h>

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// Runs external tools, each in a process group of its own and under the limits of
// vexaplatform/tool_limits.h. A tool has the descriptors 0, 1 and 2 alone, the default signal mask
// and default signal dispositions, and an environment made anew, of which nothing is the host's. It
// reads /dev/null (or the stream) and never writes to the host's standard output. The first 64 KiB
// of its standard error go to the host's, except where that is closed or is the very pipe, socket
// or file that the host's standard output is.
//
// convert, djpeg, jpegtran, cjpeg, dcraw and mv are known by their file names. In the vectors of
// these that our programs and libvexathumb use, the runner finds source and destination; the tool
// then reads system files and its source, and writes its destination and a private temporary
// folder, nothing else (vexaplatform/confinement.h). convert gets links of harmless names in the
// place of the two, so that no name is expanded, numbered or evaluated. A destination must be a
// regular file or absent; mv never moves into a folder, and makes its destination whole or not at
// all.
//
// When a call returns, no process of the tool's group is left, and none of its temporary files; the
// same holds soon after the host has died, by SIGKILL too, and its destination is gone then as
// well. SIGTERM for the host's process group reaches its tools. A host may ignore SIGCHLD or reap
// all children: the tools are not among what it sees. The cost of a start does not grow with the
// host's memory. Callable from several threads at once; a thread of the runner's own exists while a
// tool runs. After fork(2) a stream is the parent's.
//
// How a tool ended, as VLIBCExecv, VLIBCExecl and VLIBCPclose answer it:
//
//   0          it exited with status 0, and its picture is whole
//   1 to 255   it exited with that status
//   256 + N    signal N ended it
//   VLIBC_ENDED_BY_LIMIT     it met one of its limits, whatever it wrote
//   VLIBC_INCOMPLETE_RESULT  it exited with status 0, but its picture is empty or cut short
//   -1         it could not be run; errno says why. The system log has a line
#define VLIBC_ENDED_BY_LIMIT 512
#define VLIBC_INCOMPLETE_RESULT 513

// Runs the program at `path` with the null-terminated vector `argv`, element 0 included, and waits.
// `flag` is accepted and has no effect here.
VEXAPLATFORM_API int VLIBCExecv(const char* path, const char* const argv[], int flag);

// The same with a list: the arguments after the program's own name, then a null pointer. Element 0
// is `path`.
//
//   VLIBCExecl("/bin/mv", 0, from, to, (char*)NULL);
VEXAPLATFORM_API int VLIBCExecl(const char* path, int flag, ...);

// Starts the program and connects a stream to its standard output (`mode` "r") or to its standard
// input ("w"). Null, with errno set, when it cannot be started or the mode is another. The caller
// closes the stream with VLIBCPclose. Where a signal or a limit ended the tool, what is read ends
// with an error (ECONNRESET), not with an end of file.
VEXAPLATFORM_API FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]);

// Closes a stream of VLIBCPopenv, waits for its child and answers how it ended. One that has more
// to write than was read ends by SIGPIPE, or as it likes after an error of its write. A stream of
// other origin is closed, and the answer is -1 with errno ECHILD.
VEXAPLATFORM_API int VLIBCPclose(FILE* stream);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VLIBC_PROCESS_H_
