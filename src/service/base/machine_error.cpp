#include "service/base/machine_error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

// 0, or errno.
int ReadThrough(int fd, off_t from, off_t to) {
  std::vector<char> block(size_t{1} << 20U);
  while (from < to) {
    const ssize_t count = pread(fd, block.data(), block.size(), from);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return errno;
    from += std::max<ssize_t>(count, 0);
  }
  return 0;
}

}  // namespace

bool IsMachineError(int error) {
  switch (error) {
    case 0:
    case ENOENT:
    case ENOTDIR:
    case EISDIR:
    case EACCES:
    case EPERM:
    case ELOOP:
    case ENAMETOOLONG:
    case EXDEV:  // out of the folder that it was to be in
    case ENXIO:
    case EINVAL:
      return false;
    default:
      return true;
  }
}

int ErrorOfReading(int file) {
  constexpr off_t kEnd = off_t{128} << 20U;
  struct stat st = {};
  if (fstat(file, &st) != 0) return errno;
  const off_t start = std::min(st.st_size, kEnd);
  const int error = ReadThrough(file, 0, start);
  return error != 0 ? error : ReadThrough(file, std::max(start, st.st_size - kEnd), st.st_size);
}

int MachineErrorOfReading(const std::string& path) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return IsMachineError(errno) ? errno : 0;
  if (!S_ISREG(st.st_mode)) return 0;
  const posix::UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return IsMachineError(errno) ? errno : 0;
  return ErrorOfReading(file.get());
}

bool HasRoom(const std::string& folder) {
  constexpr uint64_t kBytes = 32 << 20;  // the largest thumbnail of a named size as BMP data
  constexpr uint64_t kFiles = 4;         // with its folder and what tools put beside it
  struct statvfs volume = {};
  if (statvfs(folder.c_str(), &volume) != 0 || (volume.f_flag & ST_RDONLY) != 0) return false;
  const bool counts_files = volume.f_files > 0;
  return uint64_t{volume.f_bavail} * volume.f_frsize >= kBytes &&
         (!counts_files || volume.f_favail >= kFiles);
}

}  // namespace vexathumb::service
