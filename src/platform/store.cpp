#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "no_throw.h"
#include "store_place.h"
#include "unique_fd.h"
#include "vexa/ea.h"

namespace vexaplatform {
namespace {

constexpr char kHiddenFolder[] = ".vexaea";

int Fail(int error) {
  errno = error;
  return -1;
}

bool IsEntryName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

int FindStoreDirectory(EATYPE type, const char* path, std::string* directory) {
  if (type != EATYPE_VEXAEA) return Fail(ENOTSUP);
  if (path == nullptr || path[0] != '/') return Fail(EINVAL);
  const std::string source = path;
  const size_t slash = source.rfind('/');
  const std::string base = source.substr(slash + 1);
  if (!IsEntryName(base)) return Fail(EINVAL);
  StorePlace place;
  if (FindStorePlace(slash == 0 ? "/" : source.substr(0, slash), &place) != 0) return -1;
  if (place.folder.back() == '/') place.folder.pop_back();
  *directory = place.folder + "/" + kHiddenFolder + "/" + base;
  return 0;
}

int Answer(const std::string& result, char* buf, int size) {
  if (buf == nullptr) return Fail(EINVAL);
  if (size < 0 || result.size() >= static_cast<size_t>(size)) return Fail(ENAMETOOLONG);
  memcpy(buf, result.c_str(), result.size() + 1);
  return 0;
}

// Opens the folder `name` in `parent`, making it when it is missing.
UniqueFd EnterFolder(const UniqueFd& parent, const std::string& name, bool follow_link) {
  const int flags = O_PATH | O_DIRECTORY | O_CLOEXEC | (follow_link ? 0 : O_NOFOLLOW);
  UniqueFd folder(openat(parent.get(), name.c_str(), flags));
  if (folder || errno != ENOENT) return folder;
  // Another process may make it first; what is there then is opened under the same conditions.
  if (mkdirat(parent.get(), name.c_str(), 0777) != 0 && errno != EEXIST) return UniqueFd();
  return UniqueFd(openat(parent.get(), name.c_str(), flags));
}

// Walks from / and holds every folder open while it makes the next, so that nothing can be slipped
// in between. The folders of a share may be links, the store's own never are.
int MakeStoreDirectory(const std::string& directory) {
  UniqueFd folder(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  bool in_store = false;
  for (size_t start = 1; folder && start < directory.size();) {
    const size_t end = std::min(directory.find('/', start), directory.size());
    const std::string name = directory.substr(start, end - start);
    const bool last = directory.find_first_not_of('/', end) == std::string::npos;
    in_store = in_store || last || name == kHiddenFolder;
    if (!name.empty()) folder = EnterFolder(folder, name, !in_store);
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
    if (ad != VEXA_SHARE) return Fail(ENOTSUP);
    if (name == nullptr || !IsEntryName(name)) return Fail(EINVAL);
    std::string directory;
    if (FindStoreDirectory(type, path, &directory) != 0) return -1;
    return Answer(directory + "/" + name, buf, size);
  });
}

int VEXAEADirPath(EATYPE type, const char* path, char* buf, int size) {
  using namespace vexaplatform;
  return NoThrow(-1, [&] {
    std::string directory;
    if (FindStoreDirectory(type, path, &directory) != 0) return -1;
    return Answer(directory, buf, size);
  });
}

int VEXAEAMKDir(int /*flag*/, const char* dir) {
  using namespace vexaplatform;
  return NoThrow(-1, [dir] {
    if (dir == nullptr || dir[0] != '/') return Fail(EINVAL);
    return MakeStoreDirectory(dir);
  });
}
