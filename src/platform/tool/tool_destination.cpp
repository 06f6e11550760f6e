#include "platform/tool/tool_destination.h"

#include <cerrno>
#include <cstring>

#include "platform/base/bare_calls.h"

namespace vexaplatform {
namespace {

constexpr int kMostTries = 16;  // against somebody who puts a file there again and again

// What a link leads to, too.
bool IsThere(const char* path) { return syscall(SYS_faccessat, AT_FDCWD, path, F_OK) == 0; }

// A name in /dev is the machine's, whatever it stands for.
bool IsNameOfMachine(const char* path) {
  constexpr char kDevices[] = "/dev/";
  constexpr size_t kLength = sizeof(kDevices) - 1;
  return strncmp(path, kDevices, kLength) == 0 && strchr(path + kLength, '/') == nullptr;
}

// 0 for a file that has this one name, 1 for a name to be removed, -1 with errno for neither.
int Examine(const struct statx& status, const char* path) {
  if (S_ISREG(status.stx_mode)) return status.stx_nlink > 1 ? 1 : 0;
  const bool is_device = S_ISCHR(status.stx_mode) || S_ISBLK(status.stx_mode);
  if (!S_ISDIR(status.stx_mode) && !is_device && !IsNameOfMachine(path)) return 1;
  errno = S_ISDIR(status.stx_mode) ? EISDIR : EINVAL;
  return -1;
}

bool Copy(int from, int to) {
  constexpr size_t kMost = size_t{1} << 30U;
  ssize_t copied = 0;
  do {
    copied = syscall(SYS_sendfile, to, from, nullptr, kMost);
  } while (copied > 0);
  return copied == 0;
}

// Removes the name. When that was the source's as well, `former` is left with the file, to be read.
bool RemoveName(const char* path, const char* source, const struct statx& status, int* former) {
  const bool had_source = IsThere(source);
  const bool is_file = S_ISREG(status.stx_mode);
  if (had_source && !is_file && strcmp(path, source) == 0) {
    errno = EINVAL;
    return false;
  }
  const bare::Descriptor file(
      is_file ? bare::Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC) : -1);
  if (bare::Remove(AT_FDCWD, path, 0) != 0) return errno == ENOENT;
  if (!had_source || IsThere(source)) return true;  // it has a name of its own
  *former = bare::Duplicate(file.get(), 0);
  return *former >= 0;
}

bool Hold(const char* path, const char* source, HeldDestination* held, int* former) {
  for (int count = 0; count < kMostTries; ++count) {
    bare::Descriptor made(
        bare::Open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (made) {
      if (*former >= 0 && !Copy(*former, made.get())) return false;
      *held = {made.Release(), true};
      return true;
    }
    if (errno != EEXIST) return false;
    bare::Descriptor found(bare::Open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct statx status {};
    if (!found || bare::Status(found.get(), "", &status) != 0) continue;
    const int answer = Examine(status, path);
    if (answer < 0) return false;
    if (answer == 0) {
      *held = {found.Release(), false};
      return true;
    }
    if (!RemoveName(path, source, status, former)) return false;
  }
  return false;
}

}  // namespace

bool HoldDestination(const char* path, const char* source, HeldDestination* held) {
  int former = -1;
  const bool is_held = Hold(path, source, held, &former);
  if (former >= 0) bare::Close(former);
  return is_held;
}

}  // namespace vexaplatform
