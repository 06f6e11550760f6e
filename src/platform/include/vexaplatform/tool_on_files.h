#ifndef VEXAPLATFORM_VEXAPLATFORM_TOOL_ON_FILES_H_
#define VEXAPLATFORM_VEXAPLATFORM_TOOL_ON_FILES_H_

#include "vexa/types.h"

namespace vexaplatform {

// Runs the program at `path` with the null-terminated vector `argv`, element 0 included, and waits:
// as VLIBCExecv does, under the same limits and with the same answers and reports, but between two
// open files. It reads a picture from the descriptor `input` and writes one to `output`, each from
// its offset on; both stay the caller's. `output` is a file of this user's own.
//
// Confined, it has these two and what programs read of the system, whatever its vector names: where
// the kernel has Landlock it opens no other file, and without that none to write.
//
//   const char* const argv[] = {"/usr/bin/gifsicle", "--resize-fit", "120x120", nullptr};
//   if (RunToolOnFiles(argv[0], argv, source, target) == 0) …
//
// -1 with errno EBADF when one of them is not open. From any thread. Throws nothing.
VEXAPLATFORM_API int RunToolOnFiles(const char* path, const char* const argv[], int input,
                                    int output);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_TOOL_ON_FILES_H_
