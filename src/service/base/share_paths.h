#ifndef VEXATHUMB_SERVICE_BASE_SHARE_PATHS_H_
#define VEXATHUMB_SERVICE_BASE_SHARE_PATHS_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "posix/unique_fd.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {

// A file or folder beneath a share, found without leaving it.
struct SharedPath {
  std::string path;  // absolute
  struct stat status;
  posix::UniqueFd handle;  // of the very file or folder (O_PATH), whatever its path becomes
};

// Finds `relative` (bytes, components joined by single slashes; empty for the share itself) beneath
// the share: no "..", no empty, hidden or overlong component, no link anywhere below the share's
// own path. Nothing when there is no such file, for whatever reason: the reasons are not told
// apart. Throws std::system_error where openat2 is not to be had.
std::optional<SharedPath> FindInShare(const vexaplatform::ShareSettings& share,
                                      const std::string& relative);

// The status of the file at `path`, which lies below `folder`, found without following a link below
// it; nothing otherwise. Throws as above.
std::optional<struct stat> StatusBeneath(const std::string& folder, const std::string& path);

// The share of that name; null when there is none.
const vexaplatform::ShareSettings* FindShare(const vexaplatform::Settings& settings,
                                             const std::string& name);

// The share that holds the file at `path`, by its configured path, the innermost of nested ones;
// null when there is none.
const vexaplatform::ShareSettings* ShareOf(const vexaplatform::Settings& settings,
                                           const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_SHARE_PATHS_H_
