#ifndef VEXAPLATFORM_VLIBC_PROCESS_H_
#define VEXAPLATFORM_VLIBC_PROCESS_H_

#include <stdio.h>

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// Runs external tools. A child has the descriptors 0, 1 and 2 alone, the default signal mask and
// default signal dispositions; it reads /dev/null (or the stream's pipe) and never writes to the
// host's standard output. Its standard error is the host's, or /dev/null where that is closed or is
// the very pipe, socket or file that the host's standard output is. The cost of a start does not
// grow with the host's memory. Callable from several threads at once.
//
// How a child ended, as VLIBCExecv, VLIBCExecl and VLIBCPclose answer it:
//
//   0          it exited with status 0
//   1 to 255   it exited with that status
//   256 + N    signal N ended it
//   -1         it could not be started or waited for; errno says why

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
// closes the stream with VLIBCPclose.
VEXAPLATFORM_API FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]);

// Closes a stream of VLIBCPopenv, waits for its child and answers how it ended. A stream of other
// origin is closed, and the answer is -1 with errno ECHILD.
VEXAPLATFORM_API int VLIBCPclose(FILE* stream);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VLIBC_PROCESS_H_
