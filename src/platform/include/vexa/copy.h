#ifndef VEXAPLATFORM_VEXA_COPY_H_
#define VEXAPLATFORM_VEXA_COPY_H_

#include <sys/types.h>

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { CLEAN_NONE = 0, CLEAN_DST = 1, CLEAN_SRC = 2 } COPY_CLEAN_ARCHIVE_BIT;

// Options of VEXAFileCopy. Zero the record, then set what is wanted. What is marked "refused" has
// no meaning on a machine that is not the appliance: any value but zero gives ENOTSUP.
typedef struct {
  int blOverWrite;           // replace an existing target; without it the copy fails with EEXIST
  BOOL blRemoveSrc;          // remove the source after the target is complete
  BOOL blStopWhenError;      // one file: a copy stops at its first error anyway
  BOOL blKeepOwner;          // give the target the source's user and group
  BOOL blCopyACL;            // refused
  BOOL blEnforceACLInherit;  // refused
  COPY_CLEAN_ARCHIVE_BIT cleanArchive;  // refused
  void (*pfuncSetProgress)(void);       // refused
  void (*pfuncErrReport)(void);         // refused
  void (*pfuncIsCancel)(void);          // refused
  void (*pfuncRename)(void);            // refused
  BOOL blForceCopyVEXAEA;               // refused
  uid_t userUID;                        // refused
  gid_t userGID;                        // refused
  BOOL blMediaIndexIsNotNeeded;         // nothing is indexed here, so always honoured
} VEXACOPYARGS, *PVEXACOPYARGS;

// Copies the regular file `src` to the path `dst`, across file systems too, with its permission
// bits and its times. The target appears under its name only when it is complete: the copy is
// written beside it under a temporary name, which is removed on failure.
//
// 0 on success. -1 with errno set: ENOTSUP for a field that cannot be honoured (nothing is touched
// then), EEXIST, EISDIR or EINVAL for a source that is not a regular file, or the system's. When
// blRemoveSrc is set and the source cannot be removed, the target stays and -1 is returned: nothing
// is lost. `args` may be null, meaning all zero. Callable from any thread.
VEXAPLATFORM_API int VEXAFileCopy(const char* src, const char* dst, PVEXACOPYARGS args);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VEXA_COPY_H_
