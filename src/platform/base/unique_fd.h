#ifndef VEXAPLATFORM_BASE_UNIQUE_FD_H_
#define VEXAPLATFORM_BASE_UNIQUE_FD_H_

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vexaplatform {

// Owns a file descriptor, or -1. Closing it keeps errno.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    if (fd_ >= 0) {
      const int error = errno;
      close(fd_);
      errno = error;
    }
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_UNIQUE_FD_H_
