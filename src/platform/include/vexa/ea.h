#ifndef VEXAPLATFORM_VEXA_EA_H_
#define VEXAPLATFORM_VEXA_EA_H_

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { EATYPE_VEXAEA = 0, EATYPE_EASTREAM = 1 } EATYPE;
typedef enum { VEXA_SHARE = 0, AD_SHARE = 1 } EA_AD_SHARE;

// The thumbnail store: every source file has a directory of derived files with fixed names. Where
// it lies is decided by the settings ([store] layout and root):
//
//   beside   /d/a.jpg has /d/.vexaea/a.jpg/
//   central  /d/a.jpg has ROOT/d/.vexaea/a.jpg/
//   auto     beside where the volume of /d is local and mounted writable, else under ROOT
//
// `path` is the absolute path of the source, which need not exist; with a central root it must not
// contain "..". `buf` takes `size` bytes, the terminating null included, and is left untouched by a
// failure. Callable from any thread.

// Writes the path of the entry `name` of the source `path` into `buf`; the entry need not exist.
// What exists is looked at: a link in the place of the entry, of its store directory or of a folder
// on the way there, from the hidden folder on or beneath a central root, is refused, and so is a
// folder in the entry's place; the system log has a line then.
// `type` is EATYPE_VEXAEA, `ad` is VEXA_SHARE. 0 on success; -1 with errno EINVAL (relative path, a
// name that is empty, "." or "..", or has a slash), ENAMETOOLONG (the result does not fit), ENOTSUP
// (another type), ELOOP (a link), EISDIR (a folder) or what the volume's state gave.
VEXAPLATFORM_API int VEXAEAPath(EATYPE type, const char* path, const char* name, char* buf,
                                int size, EA_AD_SHARE ad);

// Writes the store directory of the source `path` into `buf`. Results as VEXAEAPath, but nothing is
// looked at.
VEXAPLATFORM_API int VEXAEADirPath(EATYPE type, const char* path, char* buf, int size);

// Makes the store directory `dir`, which VEXAEADirPath gave, and its missing parents. `flag` is 1.
// A symbolic link in the place of the store directory or of the folder that holds it, or anywhere
// beneath a central root, is not followed. 0 when the directory now exists; -1 with errno set,
// ELOOP or ENOTDIR for a link or another file in its place, which the system log tells.
VEXAPLATFORM_API int VEXAEAMKDir(int flag, const char* dir);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VEXA_EA_H_
