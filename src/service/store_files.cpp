#include "service/store_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <regex>

#include "vexa/ea.h"

namespace vexathumb::service {
namespace {

constexpr time_t kLeftoverAge = 60 * 60;

// The library's store temporaries, with or without process and time, and ours.
const char kStoreTemporaries[] =
    "VEXAFILETMP_THUMB.*|VEXATHUMBTMP_.*|VEXA(FILE|AVATAR|PHOTO)_.*_[0-9]+_[0-9]+";
const char kFreeBoxes[] = "VEXA(FILE_THUMB|AVATAR)_[0-9]+x[0-9]+(_r-?[123])?\\.(jpg|png|gif)";
const char kVarTmpFiles[] = "vexathumb_.*_[0-9]+_[0-9]+|convert_thumbnail__[0-9]+.*";
const char kTmpFiles[] = "thumb\\.[0-9]+\\.[0-9]+\\.[0-9]+(\\..*)?";

template <typename Use>
void ForEachName(const std::string& directory, const char* pattern, Use use) {
  if (directory.empty()) return;
  const std::regex matches(pattern);
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (std::regex_match(name, matches)) use(directory + "/" + name);
  }
}

// By the time of the last change of the file's status: its modification time may be a source's.
void RemoveIfOld(const std::string& path) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return;
  if (st.st_uid == geteuid() && st.st_ctime + kLeftoverAge < time(nullptr)) unlink(path.c_str());
}

}  // namespace

std::string TemporaryFor(const std::string& path) {
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + "VEXATHUMBTMP_" + std::to_string(getpid()) + "_" +
         std::to_string(time(nullptr)) + "_" + path.substr(name);
}

std::string StoreDirectoryOf(const std::string& source) {
  char directory[4096] = {};
  return VEXAEADirPath(EATYPE_VEXAEA, source.c_str(), directory, sizeof(directory)) == 0 ? directory
                                                                                         : "";
}

int CountFreeBoxes(const std::string& source) {
  int count = 0;
  ForEachName(StoreDirectoryOf(source), kFreeBoxes, [&count](const std::string&) { ++count; });
  return count;
}

void SweepStoreDirectory(const std::string& source) {
  ForEachName(StoreDirectoryOf(source), kStoreTemporaries, RemoveIfOld);
}

void SweepTemporaryDirectories() {
  ForEachName("/var/tmp", kVarTmpFiles, RemoveIfOld);
  ForEachName("/tmp", kTmpFiles, RemoveIfOld);
}

}  // namespace vexathumb::service
