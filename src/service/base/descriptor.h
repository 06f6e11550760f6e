#ifndef VEXATHUMB_SERVICE_BASE_DESCRIPTOR_H_
#define VEXATHUMB_SERVICE_BASE_DESCRIPTOR_H_

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vexathumb::service {

// Owns a file descriptor, or -1. Closing it keeps errno.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ < 0) return;
    const int error = errno;
    close(fd_);
    errno = error;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_DESCRIPTOR_H_
