#include "service/compaction.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "service/bmp_data.h"
#include "service/store_files.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr char kCjpeg[] = "/usr/bin/cjpeg";

bool GiveModeAndTimes(const std::string& path, const struct stat& st) {
  const struct timespec times[] = {st.st_atim, st.st_mtim};
  return chmod(path.c_str(), st.st_mode & 07777) == 0 &&
         utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

}  // namespace

bool Compact(const std::string& path, int quality) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return false;
  if (!HoldsBmpData(path)) return true;

  const std::string compacted = TemporaryFor(path);
  const std::string quality_text = std::to_string(quality);
  const char* const argv[] = {kCjpeg,     "-quality",        quality_text.c_str(),
                              "-outfile", compacted.c_str(), path.c_str(),
                              nullptr};
  if (VLIBCExecv(kCjpeg, argv, 1) == 0 && GiveModeAndTimes(compacted, st) &&
      rename(compacted.c_str(), path.c_str()) == 0) {
    return true;
  }
  unlink(compacted.c_str());
  return false;
}

}  // namespace vexathumb::service
