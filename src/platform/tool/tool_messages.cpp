#include "platform/tool/tool_messages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/tool/bare_calls.h"

namespace vexaplatform {
namespace {

struct Words {
  const char* text;
  ToolLimit limit;
};

constexpr Words kWords[] = {
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
    {"File too large", ToolLimit::kFileSize},
    {"Too many open files", ToolLimit::kOpenFiles},
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
  for (const Words& words : kWords) {
    if (told_ != ToolLimit::kNone) break;
    if (memmem(buffer_, size, words.text, strlen(words.text)) != nullptr) told_ = words.limit;
  }
  kept_ = std::min(size, kOverlap);
  memmove(buffer_, buffer_ + size - kept_, kept_);
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
