#ifndef VEXAPLATFORM_VEXA_FS_H_
#define VEXAPLATFORM_VEXA_FS_H_

#include "vexa/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// File-system types, by the appliance's numbers.
typedef enum {
  FSTYPE_ERR = -1,
  FSTYPE_FAT = 0,
  FSTYPE_EXT3 = 1,
  FSTYPE_EXT4 = 2,
  FSTYPE_BTRFS = 3,
  FSTYPE_NTFS = 5,
  FSTYPE_CIFS = 6,
  FSTYPE_HFSPLUS = 7,
  FSTYPE_ISO = 8,
  FSTYPE_UDF = 9,
  FSTYPE_GLUSTERFS = 10,
  FSTYPE_UBIFS = 11,
  FSTYPE_GVFS = 12,
  FSTYPE_AUFS = 13,
  FSTYPE_NFS = 14,
  FSTYPE_NUM = 15,
  FSTYPE_DEFAULT = 16,
  FSTYPE_UNKOWN = 17,
  FSTYPE_EXFAT = 18,
  FSTYPE_EXT2 = 19,
  FSTYPE_BKPFUSE = 20
} FSTYPE;

// The type of the volume that holds the store of the files in the directory `path`: the directory's
// own volume with stores beside the sources, the store root's where the root is used.
//
// `flag` is 0. Answers FSTYPE_ERR, with errno set, when the volume cannot be asked, and
// FSTYPE_UNKOWN for a local file system that has no number here. Callable from any thread.
VEXAPLATFORM_API FSTYPE VEXAGetFSType(const char* path, int flag);

// TRUE for network volumes: CIFS, NFS and GlusterFS. Other network file systems (SSHFS, Ceph, AFS,
// 9p and the like) are reported as one of these by VEXAGetFSType.
VEXAPLATFORM_API BOOL VEXAFSIsRemoteFS(FSTYPE type);

// TRUE for volumes that are an image of a medium: ISO 9660 and UDF.
VEXAPLATFORM_API BOOL VEXAFSIsImageFS(FSTYPE type);

#ifdef __cplusplus
}
#endif

#endif  // VEXAPLATFORM_VEXA_FS_H_
