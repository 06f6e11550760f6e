#include "platform/tool/tool_messages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/base/bare_calls.h"

namespace vexaplatform {
namespace {

struct LimitWords {
  const char* text;
  ToolLimit limit;
};

constexpr LimitWords kLimitWords[] = {
    {"memory allocation failed", ToolLimit::kAddressSpace},  // ImageMagick
    {"Memory allocation failed", ToolLimit::kAddressSpace},
    {"resources exhausted", ToolLimit::kPolicy},
    {"exceeds limit", ToolLimit::kPolicy},
    {"limit exceeded", ToolLimit::kPolicy},
    {"Backing store not supported", ToolLimit::kJpegMemory},  // libjpeg
    {"Insufficient memory", ToolLimit::kAddressSpace},
    {"Memory allocation failure", ToolLimit::kAddressSpace},
    {"Out of memory", ToolLimit::kAddressSpace},  // dcraw, libtiff
    {"memory limit", ToolLimit::kAddressSpace},
    {"bad_alloc", ToolLimit::kAddressSpace},
    {"annot allocate memory", ToolLimit::kAddressSpace},
    {"failed to map segment", ToolLimit::kAddressSpace},  // the loader of programs
    {"File too large", ToolLimit::kFileSize},
    {"Too many open files", ToolLimit::kOpenFiles},
};

// No limit of ours is the cause of these, nor the source.
struct MachineWords {
  const char* text;
  int error;
};

constexpr MachineWords kMachineWords[] = {
    {"No space left on device", ENOSPC},
    {"out of disk space", ENOSPC},     // libjpeg, whatever its write failed of
    {"unable to write file", ENOSPC},  // ImageMagick, the same
    {"WriteBlob Failed", ENOSPC},
    {"Disk quota exceeded", EDQUOT},
    {"Input/output error", EIO},
    {"Input file read error", EIO},  // libjpeg
    {"Stale file handle", ESTALE},
    {"Read-only file system", EROFS},
    {"Transport endpoint is not connected", ENOTCONN},
    {"Too many open files in system", ENFILE},
    {"Resource temporarily unavailable", EAGAIN},
    // A tool is given what it may read: it was exchanged meanwhile.
    {"Permission denied", EACCES},
    {"can't open ", EACCES},  // libjpeg's programs, whatever their open failed of
    {"cannot open shared object file", ELIBACC},  // the loader of programs
    {"symbol lookup error", ELIBBAD},
};

}  // namespace

bool ToolMessages::Take(int descriptor) {
  constexpr int kMostReads =
      64;  // a full pipe's, and no more of one that is filled again and again
  for (int count = 0; count < kMostReads; ++count) {
    const ssize_t size = bare::Read(descriptor, buffer_ + kept_, sizeof(buffer_) - kept_);
    if (size < 0) return errno == EAGAIN || errno == EINTR;
    if (size == 0) return false;
    PassOn(buffer_ + kept_, static_cast<size_t>(size));
    Search(kept_ + static_cast<size_t>(size));
  }
  return true;
}

void ToolMessages::Search(size_t size) {
  for (const LimitWords& words : kLimitWords) {
    if (told_ == ToolLimit::kNone && Holds(size, words.text)) told_ = words.limit;
  }
  for (const MachineWords& words : kMachineWords) {
    if (machine_error_ == 0 && Holds(size, words.text)) machine_error_ = words.error;
  }
  kept_ = std::min(size, kOverlap);
  memmove(buffer_, buffer_ + size - kept_, kept_);
}

bool ToolMessages::Holds(size_t size, const char* words) const {
  return memmem(buffer_, size, words, strlen(words)) != nullptr;
}

void ToolMessages::PassOn(const char* text, size_t size) {
  size = std::min(size, left_);
  left_ -= size;
  // Whoever does not read them loses them: no write may hold the watching up.
  pollfd target = {target_, POLLOUT, 0};
  if (target_ < 0 || size == 0 || bare::Poll(&target, 1, 0) <= 0) return;
  if (bare::Write(target_, text, size) < 0) left_ = 0;
}

}  // namespace vexaplatform
