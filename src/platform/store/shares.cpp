#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/base/no_throw.h"
#include "vexa/share.h"
#include "vexaplatform/settings.h"

int VEXAShareGet(const char* name, VEXASHARE** share) {
  if (share == nullptr) {
    errno = EINVAL;
    return -1;
  }
  *share = nullptr;
  return vexaplatform::NoThrow(-1, [&] {
    const auto settings = vexaplatform::CurrentSettings();
    const auto& shares = settings->shares;
    const auto found =
        name == nullptr ? shares.end()
                        : std::find_if(shares.begin(), shares.end(), [name](const auto& candidate) {
                            return candidate.name == name;
                          });
    if (found == shares.end()) {
      errno = ENOENT;
      return -1;
    }
    *share = new VEXASHARE{found->indexed ? SHARE_STATUS_INDEXED : SHARE_STATUS_NORMAL};
    return 0;
  });
}

void VEXAShareFree(VEXASHARE* share) { delete share; }
