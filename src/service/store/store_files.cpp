#include "service/store/store_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>

#include "common/util/util.h"
#include "posix/open_beneath.h"
#include "service/base/machine_error.h"
#include "service/base/path_name.h"
#include "service/store/source_mark.h"
#include "service/store/store_place_check.h"
#include "vexa/ea.h"

namespace vexathumb::service {
namespace {

bool IsFolder(const std::string& path) {
  struct stat st = {};
  return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A store directory is two levels deep: one of its own in a hidden folder.
bool IsStoreDirectory(const std::string& directory) {
  return IsFolder(directory) && IsFolder(file::Dirname(directory));
}

}  // namespace

std::string StoreDirectoryOf(const std::string& source) {
  char directory[PATH_MAX] = {};
  return VEXAEADirPath(EATYPE_VEXAEA, source.c_str(), directory, sizeof(directory)) == 0 ? directory
                                                                                         : "";
}

std::optional<struct stat> StatusOfStoredFile(const std::string& path) {
  struct stat st = {};
  const bool stored =
      lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && IsStoreDirectory(file::Dirname(path));
  return stored ? std::make_optional(st) : std::nullopt;
}

bool IsStoreWritable(const std::string& source) {
  const StorePlace place = CheckStorePlace(source);
  return place.IsWritable() && file::MakeEADir(source) && IsStoreDirectory(place.directory);
}

posix::UniqueFd OpenStoreDirectory(const std::string& source, const struct stat& status) {
  constexpr int kFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  const std::string directory = StoreDirectoryOf(source);
  const std::string folder = file::Dirname(source);
  if (directory.rfind(folder + "/", 0) != 0) {  // a store apart from the shares
    return posix::UniqueFd(open(directory.c_str(), kFlags | O_NOFOLLOW));
  }
  const posix::UniqueFd holding(open(folder.c_str(), kFlags));
  struct stat found = {};
  if (!holding || fstatat(holding.get(), LastComponent(source).c_str(), &found, 0) != 0) {
    return posix::UniqueFd();
  }
  if (found.st_dev != status.st_dev || found.st_ino != status.st_ino) {
    errno = ESTALE;
    return posix::UniqueFd();
  }
  return posix::OpenBeneath(holding.get(), directory.substr(folder.size() + 1), kFlags);
}

bool HasStoreRoom(const std::string& source) {
  return IsStoreWritable(source) && HasRoom(StoreDirectoryOf(source));
}

AtomicFile::Attributes StoredAttributes(const struct stat& source,
                                        const std::optional<SourceFacts>& facts) {
  // Of this user's own bits only those without which nobody could use it.
  const mode_t mode = 0600 | (source.st_mode & 0044);
  return {mode, AtomicFile::Times{{0, 0}, {source.st_mtime, 0}},
          [source, facts](int thumbnail) { MarkSource(thumbnail, source, facts); }};
}

}  // namespace vexathumb::service
