#include "service/store/store_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <ctime>

#include "common/util/util.h"
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

std::string TemporaryFor(const std::string& path) {
  static std::atomic<unsigned> count{0};
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + "VEXATHUMBTMP_" + std::to_string(getpid()) + "_" +
         std::to_string(time(nullptr)) + "_" + std::to_string(count++) + "_" + path.substr(name);
}

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

bool HasRoom(const std::string& directory) {
  constexpr off_t kRoom = 32 << 20;  // for the largest thumbnail of a named size as BMP data
  const std::string probe = TemporaryFor(directory + "/room");
  const int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool fits = posix_fallocate(fd, 0, kRoom) == 0;
  close(fd);
  unlink(probe.c_str());
  return fits;
}

bool HasStoreRoom(const std::string& source) {
  return IsStoreWritable(source) && HasRoom(StoreDirectoryOf(source));
}

}  // namespace vexathumb::service
