#ifndef VEXATHUMB_POSIX_UNIQUE_FD_H_
#define VEXATHUMB_POSIX_UNIQUE_FD_H_

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vexathumb::posix {

// Owns a file descriptor, or -1. Closing it keeps errno.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    const int error = errno;
    Close();
    errno = error;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }

  // What close() says, for those to whom it matters, which may be the first to hear that a write
  // failed. 0 when there is nothing to close.
  int Close() { return fd_ < 0 ? 0 : close(Release()); }

 private:
  int fd_;
};

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_UNIQUE_FD_H_
