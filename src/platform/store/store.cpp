#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include "platform/base/failed_call.h"
#include "platform/base/no_throw.h"
#include "platform/store/store_place.h"
#include "posix/open_beneath.h"
#include "posix/unique_fd.h"
#include "vexa/ea.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::TryOpenBeneath;
using vexathumb::posix::UniqueFd;

constexpr char kHiddenFolder[] = ".vexaea";

bool IsEntryName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

// A source's store directory: `base` may be reached through links, what is beneath it may not.
struct StoreDirectory {
  std::string base;      // without a trailing slash
  std::string relative;  // begins with a slash

  std::string path() const { return base + relative; }
};

int FindStoreDirectory(EATYPE type, const char* path, StoreDirectory* directory) {
  if (type != EATYPE_VEXAEA) return FailWith(ENOTSUP);
  if (path == nullptr || path[0] != '/') return FailWith(EINVAL);
  const std::string source = path;
  const size_t slash = source.rfind('/');
  const std::string base = source.substr(slash + 1);
  if (!IsEntryName(base)) return FailWith(EINVAL);
  StorePlace place;
  if (FindStorePlace(slash == 0 ? "/" : source.substr(0, slash), &place) != 0) return -1;
  if (place.folder.back() == '/') place.folder.pop_back();
  directory->base = place.root.empty() ? place.folder : place.root;
  directory->relative =
      place.folder.substr(directory->base.size()) + "/" + kHiddenFolder + "/" + base;
  return 0;
}

// 0 when the entry may be what a stored file is, or is yet to be made; -1 with errno ELOOP for a
// link on the way to it or in its place, EISDIR for a folder there.
int CheckEntry(const StoreDirectory& directory, const std::string& name) {
  const UniqueFd base(open((directory.base + "/").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!base) return 0;
  const std::string relative = directory.relative.substr(1) + "/" + name;
  const UniqueFd entry = TryOpenBeneath(base.get(), relative, O_PATH);
  struct stat status {};
  if (!entry) return errno == ELOOP ? -1 : 0;
  return fstat(entry.get(), &status) == 0 && S_ISDIR(status.st_mode) ? FailWith(EISDIR) : 0;
}

int Refuse(const std::string& path, const char* caller) {
  const int error = errno;
  syslog(LOG_ERR, "%s:%d (%s) \"%s is refused as a place of the store: %s\"", "store.cpp", __LINE__,
         caller, path.c_str(), std::generic_category().message(error).c_str());
  return FailWith(error);
}

int Answer(const std::string& result, char* buf, int size) {
  if (buf == nullptr) return FailWith(EINVAL);
  if (size < 0 || result.size() >= static_cast<size_t>(size)) return FailWith(ENAMETOOLONG);
  memcpy(buf, result.c_str(), result.size() + 1);
  return 0;
}

enum class Links { kFollowed, kRefused };

// Opens the folder `name` in `parent`, making it when it is missing.
UniqueFd EnterFolder(const UniqueFd& parent, const std::string& name, Links links) {
  const auto enter = [&] {
    if (links == Links::kRefused) return TryOpenBeneath(parent.get(), name, O_PATH | O_DIRECTORY);
    return UniqueFd(openat(parent.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  };
  UniqueFd folder = enter();
  if (folder || errno != ENOENT) return folder;
  // Another process may make it first; what is there then is opened under the same conditions.
  if (mkdirat(parent.get(), name.c_str(), 0777) != 0 && errno != EEXIST) return UniqueFd();
  return enter();
}

// Where links end in the path of a store directory: behind the central root, or else at the hidden
// folder.
size_t StartOfStore(const std::string& directory) {
  const auto settings = CurrentSettings();
  const std::string root = settings->root + "/";
  const bool is_central =
      settings->layout != StoreLayout::kBeside && directory.compare(0, root.size(), root) == 0;
  if (is_central) return root.size();
  const size_t hidden = directory.rfind("/" + std::string(kHiddenFolder) + "/");
  return hidden == std::string::npos ? hidden : hidden + 1;
}

// Walks from / and holds every folder open while it makes the next, so that nothing can be slipped
// in between.
int MakeStoreDirectory(const std::string& directory) {
  const size_t store = StartOfStore(directory);
  UniqueFd folder(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (size_t start = 1; folder && start < directory.size();) {
    const size_t end = std::min(directory.find('/', start), directory.size());
    const std::string name = directory.substr(start, end - start);
    const bool last = directory.find_first_not_of('/', end) == std::string::npos;
    const bool in_store = last || start >= store;
    if (!name.empty()) {
      folder = EnterFolder(folder, name, in_store ? Links::kRefused : Links::kFollowed);
    }
    start = end + 1;
  }
  return folder ? 0 : -1;
}

}  // namespace
}  // namespace vexaplatform

int VEXAEAPath(EATYPE type, const char* path, const char* name, char* buf, int size,
               EA_AD_SHARE ad) {
  using namespace vexaplatform;
  return NoThrow(-1, [&] {
    if (ad != VEXA_SHARE) return FailWith(ENOTSUP);
    if (name == nullptr || !IsEntryName(name)) return FailWith(EINVAL);
    StoreDirectory directory;
    if (FindStoreDirectory(type, path, &directory) != 0) return -1;
    const std::string entry = directory.path() + "/" + name;
    if (CheckEntry(directory, name) != 0) return Refuse(entry, "VEXAEAPath");
    return Answer(entry, buf, size);
  });
}

int VEXAEADirPath(EATYPE type, const char* path, char* buf, int size) {
  using namespace vexaplatform;
  return NoThrow(-1, [&] {
    StoreDirectory directory;
    if (FindStoreDirectory(type, path, &directory) != 0) return -1;
    return Answer(directory.path(), buf, size);
  });
}

int VEXAEAMKDir(int /*flag*/, const char* dir) {
  using namespace vexaplatform;
  return NoThrow(-1, [dir] {
    if (dir == nullptr || dir[0] != '/') return FailWith(EINVAL);
    if (MakeStoreDirectory(dir) == 0) return 0;
    return errno == ELOOP || errno == ENOTDIR ? Refuse(dir, "VEXAEAMKDir") : -1;
  });
}
