#ifndef VEXAPLATFORM_BASE_BARE_CALLS_H_
#define VEXAPLATFORM_BASE_BARE_CALLS_H_

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace vexaplatform::bare {

// System calls for processes that share the host's memory but not its descriptors, signal handlers
// and process id. The C library's functions of these names are points of cancellation, and a
// sanitizer keeps a book of descriptors and handlers behind them: both are the host's. Results and
// errno are those of the functions.

// The C library's clone(2) by its other name: what a sanitizer puts before the first takes the new
// process for a fork, with memory of its own.
pid_t Clone(int (*body)(void*), void* stack, int flags, void* argument, ...) asm("__clone");

inline int Open(const char* path, int flags, mode_t mode = 0) {
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

inline int OpenAt(int folder, const char* name, int flags) {
  return static_cast<int>(syscall(SYS_openat, folder, name, flags, 0));
}

inline void Close(int descriptor) {
  const int error = errno;
  syscall(SYS_close, descriptor);
  errno = error;
}

inline void CloseRange(int first, int last) {
  if (first <= last) {
    syscall(SYS_close_range, static_cast<unsigned>(first), static_cast<unsigned>(last), 0);
  }
}

// The copy has a number of at least `least` and is closed on exec.
inline int Duplicate(int descriptor, int least) {
  return static_cast<int>(syscall(SYS_fcntl, descriptor, F_DUPFD_CLOEXEC, least));
}

inline int DuplicateTo(int descriptor, int target) {
  return static_cast<int>(syscall(SYS_dup3, descriptor, target, 0));
}

inline int Pipe(int (&ends)[2], int flags) {
  return static_cast<int>(syscall(SYS_pipe2, ends, flags));
}

inline ssize_t Read(int descriptor, void* buffer, size_t size) {
  return syscall(SYS_read, descriptor, buffer, size);
}

inline ssize_t Write(int descriptor, const void* buffer, size_t size) {
  return syscall(SYS_write, descriptor, buffer, size);
}

// From a socket, what waits there.
inline ssize_t Receive(int descriptor, void* buffer, size_t size) {
  return syscall(SYS_recvfrom, descriptor, buffer, size, MSG_DONTWAIT, nullptr, nullptr);
}

inline int Poll(pollfd* watched, size_t count, int milliseconds) {
  timespec timeout{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
  return static_cast<int>(syscall(SYS_ppoll, watched, count, &timeout, nullptr, 0));
}

// Of what the descriptor is for, or with a path of that; a link is not followed.
inline int Status(int descriptor, const char* path, struct statx* status) {
  return static_cast<int>(syscall(SYS_statx, descriptor, path, AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW,
                                  STATX_BASIC_STATS, status));
}

inline int Remove(int folder, const char* name, int flags) {
  return static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
}

inline int Kill(pid_t process, int signal) {
  return static_cast<int>(syscall(SYS_kill, process, signal));
}

inline pid_t Wait(pid_t process, int* wait_status, int options, rusage* usage) {
  return static_cast<pid_t>(syscall(SYS_wait4, process, wait_status, options, usage));
}

// The kernel's own action for the signal, not the host's.
inline void ResetSignal(int signal) {
  struct {
    void (*handler)(int);
    unsigned long flags;
    void (*restorer)();
    unsigned long mask;
  } const standard{SIG_DFL, 0, nullptr, 0};
  syscall(SYS_rt_sigaction, signal, &standard, nullptr, sizeof(standard.mask));
}

// Readable while the signal, which is blocked, has been sent to this process.
inline int SignalDescriptor(int signal) {
  const unsigned long mask = 1UL << static_cast<unsigned>(signal - 1);
  return static_cast<int>(
      syscall(SYS_signalfd4, -1, &mask, sizeof(mask), SFD_CLOEXEC | SFD_NONBLOCK));
}

inline void UnblockSignals() {
  const unsigned long none = 0;
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof(none));
}

// Owns a descriptor, or -1.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (descriptor_ >= 0) Close(descriptor_);
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

}  // namespace vexaplatform::bare

#endif  // VEXAPLATFORM_BASE_BARE_CALLS_H_
