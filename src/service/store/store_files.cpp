#include "service/store/store_files.h"

#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <system_error>

#include "common/util/util.h"
#include "service/base/machine_error.h"
#include "service/store/source_mark.h"
#include "service/store/store_names.h"
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

bool HasStoreRoom(const std::string& source) {
  return IsStoreWritable(source) && HasRoom(StoreDirectoryOf(source));
}

AtomicFile::Attributes StoredAttributes(const struct stat& source) {
  return {0777, AtomicFile::Times{{0, 0}, {source.st_mtime, 0}},
          [source](int thumbnail) { MarkSource(thumbnail, source); }};
}

int CountFreeBoxes(const std::string& source) {
  int count = 0;
  const std::string directory = StoreDirectoryOf(source);
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    if (IsFreeBox(entry->path().filename().string())) ++count;
  }
  return count;
}

}  // namespace vexathumb::service
