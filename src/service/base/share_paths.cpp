#include "service/base/share_paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <climits>

#include "posix/open_beneath.h"
#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

bool IsPlainComponent(const std::string& component) {
  return !component.empty() && component[0] != '.' && component.size() <= NAME_MAX;
}

bool IsPlainPath(const std::string& relative) {
  if (relative.find('\0') != std::string::npos) return false;
  for (size_t start = 0;;) {
    const size_t slash = relative.find('/', start);
    if (!IsPlainComponent(relative.substr(start, slash - start))) return false;
    if (slash == std::string::npos) return true;
    start = slash + 1;
  }
}

// What paths beneath the share begin with.
std::string PrefixOf(const vexaplatform::ShareSettings& share) {
  return share.path == "/" ? "/" : share.path + "/";
}

}  // namespace

std::optional<SharedPath> FindInShare(const vexaplatform::ShareSettings& share,
                                      const std::string& relative) {
  if (!relative.empty() && !IsPlainPath(relative)) return std::nullopt;
  const posix::UniqueFd root(open(share.path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!root) return std::nullopt;
  SharedPath result;
  result.handle =
      posix::OpenBeneath(root.get(), relative.empty() ? "." : relative, O_PATH | O_NOFOLLOW);
  if (!result.handle || fstat(result.handle.get(), &result.status) != 0 ||
      S_ISLNK(result.status.st_mode)) {
    return std::nullopt;
  }
  result.path = relative.empty() ? share.path : PrefixOf(share) + relative;
  return result;
}

std::optional<struct stat> StatusBeneath(const std::string& folder, const std::string& path) {
  const std::string prefix = folder == "/" ? "/" : folder + "/";
  if (path.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
  const posix::UniqueFd root(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const posix::UniqueFd found =
      posix::OpenBeneath(root.get(), path.substr(prefix.size()), O_PATH | O_NOFOLLOW);
  struct stat status = {};
  return found && fstat(found.get(), &status) == 0 ? std::make_optional(status) : std::nullopt;
}

const vexaplatform::ShareSettings* FindShare(const vexaplatform::Settings& settings,
                                             const std::string& name) {
  for (const auto& share : settings.shares) {
    if (share.name == name) return &share;
  }
  return nullptr;
}

const vexaplatform::ShareSettings* ShareOf(const vexaplatform::Settings& settings,
                                           const std::string& path) {
  const vexaplatform::ShareSettings* innermost = nullptr;
  for (const auto& share : settings.shares) {
    const std::string prefix = PrefixOf(share);
    if (path.compare(0, prefix.size(), prefix) != 0) continue;
    if (innermost == nullptr || share.path.size() > innermost->path.size()) innermost = &share;
  }
  return innermost;
}

}  // namespace vexathumb::service
