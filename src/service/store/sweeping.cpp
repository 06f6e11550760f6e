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

// By the time of the last change of the file's status: its modification time may be a source's.
bool IsOldFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_ctime + kLeftoverAge < time(nullptr);
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

void RemoveIfOld(const std::string& path) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0 || !IsOldFile(st)) return;
  if (st.st_uid == geteuid()) unlink(path.c_str());
}

}  // namespace

bool IsStoreLeftover(const std::string& name, const struct stat& status) {
  const bool may_remove = status.st_uid == geteuid() || geteuid() == 0;
  return may_remove && IsOldFile(status) && IsStoreTemporary(name);
}

void SweepStoreDirectory(const std::string& source) {
  const std::string directory = StoreDirectoryOf(source);
  ForEachName(directory, IsStoreTemporary, RemoveIfOld);
  struct stat now = {};
  if (stat(source.c_str(), &now) != 0) return;
  ForEachName(directory, IsFreeBox, [&now](const std::string& path) {
    struct stat box = {};
    if (stat(path.c_str(), &box) == 0 && box.st_mtime != now.st_mtime) RemoveIfOld(path);
  });
}

void SweepTemporaryDirectories() {
  ForEachName("/var/tmp", IsVarTmpName, RemoveIfOld);
  ForEachName("/tmp", IsTmpName, RemoveIfOld);
  vexaplatform::SweepToolFolders();
}

}  // namespace vexathumb::service
