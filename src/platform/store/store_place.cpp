#include "platform/store/store_place.h"

#include <cerrno>

#include "platform/store/volume_type.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {
namespace {

// 1: under the root, 0: beside the source, -1: errno says why that cannot be told.
int UsesRoot(StoreLayout layout, const std::string& folder) {
  if (layout != StoreLayout::kAuto) return layout == StoreLayout::kCentral ? 1 : 0;
  Volume volume;
  if (AskNearestVolume(folder, &volume) != 0) return -1;
  return CanHoldStore(volume) ? 0 : 1;
}

}  // namespace

int FindStorePlace(const std::string& folder, StorePlace* place) {
  if (folder.empty() || folder[0] != '/') {
    errno = EINVAL;
    return -1;
  }
  const auto settings = CurrentSettings();
  const int uses_root = UsesRoot(settings->layout, folder);
  if (uses_root < 0) return -1;
  if (uses_root != 0 && (folder + "/").find("/../") != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  place->root = uses_root != 0 ? settings->root : "";
  place->folder = place->root + folder;
  return 0;
}

}  // namespace vexaplatform
