#ifndef VEXAPLATFORM_VEXA_SHARE_H_
#define VEXAPLATFORM_VEXA_SHARE_H_

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// Flags of a share's status, by the appliance's numbers.
enum {
  SHARE_STATUS_NORMAL = 0,
  SHARE_STATUS_DISABLE = 1,
  SHARE_STATUS_DEC = 2,
  SHARE_STATUS_ENC = 3,
  SHARE_STATUS_AUTODEC = 4,
  SHARE_STATUS_FORBIDDEN = 8,
  SHARE_STATUS_MASK = 15,
  SHARE_STATUS_INDEXED = 32,
  SHARE_STATUS_ACL_ENABLE = 128,
  SHARE_STATUS_RECYCLE_BIN_ENABLED = 256,
  SHARE_STATUS_RECYCLE_BIN_ADMIN_ONLY = 512,
  SHARE_STATUS_HIDE_UNREADABLE_ENABLED = 1024,
  SHARE_STATUS_WIN_SHARE = 2048,
  SHARE_STATUS_SKIP_SMB_PERM = 4096,
  SHARE_STATUS_SNAPSHOT_BROWSING = 8192,
  SHARE_STATUS_READONLY = 16384,
  SHARE_STATUS_CLUSTER = 32768,
  SHARE_STATUS_MAX = 65536
};

typedef struct {
  int status;  // a set of SHARE_STATUS_ flags; here only SHARE_STATUS_INDEXED is ever set
} VEXASHARE;

// Looks the share `name` up in the settings ([share NAME]). 0 when there is one: `*share` is then a
// record that the caller releases with VEXAShareFree. Otherwise -1, `*share` null, errno ENOENT.
// Callable from any thread.
VEXAPLATFORM_API int VEXAShareGet(const char* name, VEXASHARE** share);

// Releases a record of VEXAShareGet. Null is allowed.
VEXAPLATFORM_API void VEXAShareFree(VEXASHARE* share);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VEXA_SHARE_H_
