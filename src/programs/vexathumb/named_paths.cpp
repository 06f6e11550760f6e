#include "programs/vexathumb/named_paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "programs/vexathumb/report.h"
#include "service/base/source_path.h"
#include "service/store/store_walk.h"

namespace vexathumb::program {
namespace {

// Whether the folder `path` or one that holds it is among the others.
bool IsCovered(const std::string& path, const std::set<std::string>& others) {
  for (size_t slash = path.rfind('/'); slash != std::string::npos && slash > 0;
       slash = path.rfind('/', slash - 1)) {
    if (others.count(path.substr(0, slash)) > 0) return true;
  }
  return path != "/" && others.count("/") > 0;
}

}  // namespace

NamedPaths::NamedPaths(const std::vector<std::string>& names) {
  std::set<std::string> there;
  for (const std::string& name : names) {
    const std::string path = service::AbsolutePath(name);
    struct stat st = {};
    if (stat(path.c_str(), &st) != 0) {
      PrintError(path, {strerror(errno), "name a file or a folder that is there"});
      some_missing_ = true;
    } else if (service::IsInStoreRoot(path)) {
      throw Failure{kUsage, path, {"is in the store", "name the folder of the sources"}};
    } else {
      there.insert(path);
    }
  }
  std::copy_if(there.begin(), there.end(), std::back_inserter(paths_),
               [&there](const std::string& path) { return !IsCovered(path, there); });
}

void NamedPaths::Unreadable(const std::string& folder, const std::string& cause) {
  PrintError(folder, {cause, "give the right to read it"});
  some_unreadable_ = true;
}

ExitCode NamedPaths::ExitCodeAfter(ExitCode done) const {
  if (some_missing_) return kSourceUnreadable;
  return some_unreadable_ && done == kDone ? kNoThumbnail : done;
}

}  // namespace vexathumb::program
