#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <regex>

#include "service/store/store_files.h"
#include "vexaplatform/tool_folders.h"

namespace vexathumb::service {
namespace {

constexpr time_t kLeftoverAge = 3600;  // seconds

// The library's store temporaries, with or without process and time, the platform's copies and
// ours.
const char kStoreTemporaries[] =
    "VEXAFILETMP_THUMB.*|VEXATHUMBTMP_.*|VEXA(FILE|AVATAR|PHOTO)_.*_[0-9]+_[0-9]+|"
    "\\.vexacopy\\..{6}";
const char kFreeBoxes[] = "VEXA(FILE_THUMB|AVATAR)_[0-9]+x[0-9]+(_r-?[123])?\\.(jpg|png|gif)";
// What follows the time is a source's name, which may have line breaks.
const char kVarTmpFiles[] =
    "vexathumb_.*_[0-9]+_[0-9]+|VEXATHUMBTMP_.*|convert_thumbnail__[0-9]+[^]*";
const char kTmpFiles[] = "thumb\\.[0-9]+\\.[0-9]+\\.[0-9]+(\\..*)?";

// By the time of the last change of the file's status: its modification time may be a source's.
bool IsOldFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_ctime + kLeftoverAge < time(nullptr);
}

template <typename Use>
void ForEachName(const std::string& directory, const char* pattern, Use use) {
  if (directory.empty()) return;
  const std::regex matches(pattern);
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    if (std::regex_match(entry->path().filename().string(), matches)) use(entry->path().string());
  }
}

void RemoveIfOld(const std::string& path) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0 || !IsOldFile(st)) return;
  if (st.st_uid == geteuid()) unlink(path.c_str());
}

}  // namespace

int CountFreeBoxes(const std::string& source) {
  int count = 0;
  ForEachName(StoreDirectoryOf(source), kFreeBoxes, [&count](const std::string&) { ++count; });
  return count;
}

bool IsStoreTemporary(const std::string& name) {
  static const std::regex matches(kStoreTemporaries);
  return std::regex_match(name, matches);
}

bool IsStoreLeftover(const std::string& name, const struct stat& status) {
  const bool may_remove = status.st_uid == geteuid() || geteuid() == 0;
  return may_remove && IsOldFile(status) && IsStoreTemporary(name);
}

void SweepStoreDirectory(const std::string& source) {
  const std::string directory = StoreDirectoryOf(source);
  ForEachName(directory, kStoreTemporaries, RemoveIfOld);
  struct stat now = {};
  if (stat(source.c_str(), &now) != 0) return;
  ForEachName(directory, kFreeBoxes, [&now](const std::string& path) {
    struct stat box = {};
    if (stat(path.c_str(), &box) == 0 && box.st_mtime != now.st_mtime) RemoveIfOld(path);
  });
}

void SweepTemporaryDirectories() {
  ForEachName("/var/tmp", kVarTmpFiles, RemoveIfOld);
  ForEachName("/tmp", kTmpFiles, RemoveIfOld);
  vexaplatform::SweepToolFolders();
}

}  // namespace vexathumb::service
