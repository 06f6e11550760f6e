#include "kit/doubles/libc_double.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace vexathumb::kit {
namespace {

std::atomic<LibcDouble*> current{nullptr};

// The double that answers a call which returns to `caller`; null for callers other than the
// library.
LibcDouble* DoubleFor(const void* caller) {
  LibcDouble* libc = current;
  if (libc == nullptr) return nullptr;
  Dl_info info = {};
  if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr) return nullptr;
  return strstr(info.dli_fname, "libvexathumb.so") != nullptr ? libc : nullptr;
}

// Whether the call fails, with errno set.
bool IsFault(const LibcDouble& libc, const char* function) {
  const int error = libc.FaultOf(function);
  if (error == 0) return false;
  errno = error;
  return true;
}

}  // namespace

LibcDouble::LibcDouble() {
  if (current.exchange(this) != nullptr) throw std::logic_error("two libcs at once");
}

LibcDouble::~LibcDouble() { current = nullptr; }

void LibcDouble::Fail(const std::string& function, int error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_[function] = error;
}

int LibcDouble::FaultOf(const std::string& function) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto fault = faults_.find(function);
  return fault == faults_.end() ? 0 : fault->second;
}

}  // namespace vexathumb::kit

using vexathumb::kit::CallJournal;
using vexathumb::kit::LibcDouble;

// The function of libc that the one of this name hides.
#define REAL(function) \
  reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))  // NOLINT

#define INTERPOSED extern "C" __attribute__((visibility("default")))
#define DOUBLE_FOR_CALLER vexathumb::kit::DoubleFor(__builtin_return_address(0))

INTERPOSED int access(const char* path, int mode) noexcept {
  static const auto real = REAL(access);
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add({"access", path, {}, mode});
    if (vexathumb::kit::IsFault(*libc, "access")) return -1;
  }
  return real(path, mode);
}

INTERPOSED int rename(const char* from, const char* to) noexcept {
  static const auto real = REAL(rename);
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add({"rename", from, {to}, 0});
    if (vexathumb::kit::IsFault(*libc, "rename")) return -1;
  }
  return real(from, to);
}

INTERPOSED int unlink(const char* path) noexcept {
  static const auto real = REAL(unlink);
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add({"unlink", path, {}, 0});
    if (vexathumb::kit::IsFault(*libc, "unlink")) return -1;
  }
  return real(path);
}

INTERPOSED int chmod(const char* path, mode_t mode) noexcept {
  static const auto real = REAL(chmod);
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add({"chmod", path, {}, static_cast<int>(mode)});
    if (vexathumb::kit::IsFault(*libc, "chmod")) return -1;
  }
  return real(path, mode);
}

INTERPOSED int stat(const char* path, struct stat* st) noexcept {
  static const auto real =
      reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_NEXT, "stat"));  // NOLINT
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add({"stat", path, {}, 0});
    if (vexathumb::kit::IsFault(*libc, "stat")) return -1;
  }
  return real(path, st);
}

INTERPOSED int utime(const char* path, const struct utimbuf* times) noexcept {
  static const auto real = REAL(utime);
  if (const LibcDouble* libc = DOUBLE_FOR_CALLER) {
    CallJournal::Get().Add(
        {"utime", path, {std::to_string(times->actime), std::to_string(times->modtime)}, 0});
    if (vexathumb::kit::IsFault(*libc, "utime")) return -1;
  }
  return real(path, times);
}

INTERPOSED int puts(const char* text) {
  static const auto real = REAL(puts);
  if (DOUBLE_FOR_CALLER == nullptr) return real(text);
  CallJournal::Get().Add({"puts", text, {}, 0});
  return 0;
}

INTERPOSED ssize_t read(int descriptor, void* buffer, size_t size) {
  static const auto real = REAL(read);
  const LibcDouble* libc = DOUBLE_FOR_CALLER;
  if (libc != nullptr && vexathumb::kit::IsFault(*libc, "read")) return -1;
  return real(descriptor, buffer, size);
}

INTERPOSED ssize_t write(int descriptor, const void* buffer, size_t size) {
  static const auto real = REAL(write);
  const LibcDouble* libc = DOUBLE_FOR_CALLER;
  if (libc == nullptr) return real(descriptor, buffer, size);
  if (vexathumb::kit::IsFault(*libc, "write")) return -1;
  return real(descriptor, buffer, libc->write_short ? size - 1 : size);
}

INTERPOSED time_t time(time_t* result) noexcept {
  static const auto real = REAL(time);
  const LibcDouble* libc = DOUBLE_FOR_CALLER;
  if (libc == nullptr || !libc->time) return real(result);
  if (result != nullptr) *result = *libc->time;
  return *libc->time;
}

INTERPOSED pid_t getpid() noexcept {
  static const auto real = REAL(getpid);
  const LibcDouble* libc = DOUBLE_FOR_CALLER;
  return libc == nullptr || !libc->pid ? real() : *libc->pid;
}

INTERPOSED int rand() noexcept {
  static const auto real = REAL(rand);
  const LibcDouble* libc = DOUBLE_FOR_CALLER;
  return libc == nullptr || !libc->random ? real() : *libc->random;
}
