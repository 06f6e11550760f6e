#include "service/base/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace vexathumb::service {
namespace {

constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;

// A kernel that protects files of others in shared directories refuses O_CREAT on them, so a file
// that is there is opened without it.
posix::UniqueFd OpenOrCreate(const std::string& path) {
  for (;;) {
    posix::UniqueFd fd(open(path.c_str(), kFlags));
    if (fd || errno != ENOENT) return fd;
    fd = posix::UniqueFd(open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666));
    if (fd) {
      fchmod(fd.get(), 0666);  // whatever the umask: other users wait on it too
      return fd;
    }
    if (errno != EEXIST) return fd;
  }
}

}  // namespace

LockFile::LockFile(const std::string& directory, const std::string& name) {
  if (mkdir(directory.c_str(), 0777) == 0) chmod(directory.c_str(), 01777);
  const std::string path = directory + "/" + name;
  fd_ = OpenOrCreate(path);
  if (!fd_) throw std::system_error(errno, std::generic_category(), path);
}

void LockFile::Lock() {
  while (flock(fd_.get(), LOCK_EX) != 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "flock");
  }
}

bool LockFile::TryLock() { return Try(LOCK_EX); }

bool LockFile::IsHeldByAnother() {
  if (!Try(LOCK_SH)) return true;
  flock(fd_.get(), LOCK_UN);
  return false;
}

bool LockFile::Try(int lock) {
  while (flock(fd_.get(), lock | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return false;
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "flock");
  }
  return true;
}

}  // namespace vexathumb::service
