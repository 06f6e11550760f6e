#include "service/store/store_place_check.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "common/util/util.h"
#include "vexa/ea.h"

namespace vexathumb::service {
namespace {

void Refuse(StorePlace* place, const std::filesystem::path& part, int error, const char* what) {
  place->error = error;
  place->obstacle = part.string() + (what == nullptr ? std::string(": ") + strerror(error) : what);
}

// Looks at the first part of the path that exists, from its end.
void FindObstacle(StorePlace* place) {
  // The source's own directory and the hidden one that holds it are never followed as links.
  int own_levels = 2;
  for (std::filesystem::path part = place->directory;; part = part.parent_path(), --own_levels) {
    struct stat st = {};
    if (lstat(part.c_str(), &st) != 0) {
      if (errno == ENOENT && part.has_relative_path()) continue;
      return Refuse(place, part, errno, nullptr);
    }
    if (own_levels > 0 && S_ISLNK(st.st_mode)) return Refuse(place, part, ELOOP, " is a link");
    if (stat(part.c_str(), &st) != 0) return Refuse(place, part, errno, nullptr);
    if (!S_ISDIR(st.st_mode)) return Refuse(place, part, ENOTDIR, " is not a folder");
    if (access(part.c_str(), W_OK | X_OK) != 0) return Refuse(place, part, errno, nullptr);
    return;
  }
}

}  // namespace

StorePlace CheckStorePlace(const std::string& source) {
  StorePlace place;
  place.volume_fits = file::IsDestSupportEAWrite(file::Dirname(source));
  std::array<char, PATH_MAX> directory = {};
  if (VEXAEADirPath(EATYPE_VEXAEA, source.c_str(), directory.data(),
                    static_cast<int>(directory.size())) != 0) {
    place.error = errno;
    place.obstacle = strerror(errno);
    return place;
  }
  place.directory = directory.data();
  FindObstacle(&place);
  return place;
}

}  // namespace vexathumb::service
