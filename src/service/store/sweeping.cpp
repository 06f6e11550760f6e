#include "service/store/sweeping.h"

#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <system_error>

#include "service/store/store_files.h"
#include "service/store/store_names.h"
#include "vexaplatform/tool_folders.h"

namespace vexathumb::service {
namespace {

constexpr time_t kLeftoverAge = 3600;  // seconds

bool IsOldFile(const struct stat& status, FolderClock* clock) {
  return S_ISREG(status.st_mode) && clock->IsOlderThan(kLeftoverAge, status);
}

template <typename Use>
void ForEachName(const std::string& directory, bool (*is_meant)(const std::string& name), Use use) {
  if (directory.empty()) return;
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    if (is_meant(entry->path().filename().string())) use(entry->path().string());
  }
}

void RemoveIfOld(const std::string& path, FolderClock* clock) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0 || st.st_uid != geteuid()) return;
  if (IsOldFile(st, clock)) unlink(path.c_str());
}

void Sweep(const std::string& directory, bool (*is_meant)(const std::string& name)) {
  FolderClock clock(directory);
  ForEachName(directory, is_meant, [&clock](const auto& path) { RemoveIfOld(path, &clock); });
}

}  // namespace

bool IsStoreLeftover(const std::string& name, const struct stat& status, FolderClock* clock) {
  const bool may_remove = status.st_uid == geteuid() || geteuid() == 0;
  return may_remove && IsStoreTemporary(name) && IsOldFile(status, clock);
}

void SweepStoreDirectory(const std::string& source) {
  const std::string directory = StoreDirectoryOf(source);
  Sweep(directory, IsStoreTemporary);
  struct stat now = {};
  if (stat(source.c_str(), &now) != 0) return;
  FolderClock clock(directory);
  ForEachName(directory, IsFreeBox, [&](const std::string& path) {
    struct stat box = {};
    if (stat(path.c_str(), &box) == 0 && box.st_mtime != now.st_mtime) RemoveIfOld(path, &clock);
  });
}

void SweepTemporaryDirectories() {
  Sweep("/var/tmp", IsVarTmpName);
  Sweep("/tmp", IsTmpName);
  vexaplatform::SweepToolFolders();
}

}  // namespace vexathumb::service
