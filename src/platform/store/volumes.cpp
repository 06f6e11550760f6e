#include <cerrno>
#include <string>

#include "platform/base/no_throw.h"
#include "platform/store/store_place.h"
#include "platform/store/volume_type.h"
#include "vexa/fs.h"

namespace vexaplatform {
namespace {

FSTYPE StoreVolumeType(const std::string& folder) {
  StorePlace place;
  const bool absolute = !folder.empty() && folder[0] == '/';
  // A relative folder has no place under a root, but still a volume.
  if (absolute && FindStorePlace(folder, &place) != 0) return FSTYPE_ERR;
  Volume volume;
  const int result =
      place.root.empty() ? AskVolume(folder, &volume) : AskNearestVolume(place.folder, &volume);
  return result == 0 ? VolumeType(volume) : FSTYPE_ERR;
}

}  // namespace
}  // namespace vexaplatform

FSTYPE VEXAGetFSType(const char* path, int /*flag*/) {
  if (path == nullptr) {
    errno = EINVAL;
    return FSTYPE_ERR;
  }
  return vexaplatform::NoThrow(FSTYPE_ERR, [path] { return vexaplatform::StoreVolumeType(path); });
}

BOOL VEXAFSIsRemoteFS(FSTYPE type) {
  return type == FSTYPE_CIFS || type == FSTYPE_NFS || type == FSTYPE_GLUSTERFS ? TRUE : FALSE;
}

BOOL VEXAFSIsImageFS(FSTYPE type) {
  return type == FSTYPE_ISO || type == FSTYPE_UDF ? TRUE : FALSE;
}
