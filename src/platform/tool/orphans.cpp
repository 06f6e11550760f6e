#include "platform/tool/orphans.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "platform/base/bare_calls.h"

namespace vexaplatform {
namespace {

// Whether there were any that the kernel names.
bool KillChildren() {
  char path[64];
  snprintf(path, sizeof(path), "/proc/self/task/%d/children", getpid());
  const bare::Descriptor list(bare::Open(path, O_RDONLY | O_CLOEXEC));
  char text[1024];
  const ssize_t size = list ? bare::Read(list.get(), text, sizeof(text)) : -1;
  pid_t process = 0;
  for (const char* c = text; c < text + size; ++c) {
    if (*c >= '0' && *c <= '9') {
      process = process * 10 + (*c - '0');
    } else {
      bare::Kill(process, SIGKILL);
      process = 0;
    }
  }
  return size > 0;
}

}  // namespace

void EndOrphans() {
  for (;;) {
    const pid_t ended = bare::Wait(-1, nullptr, WNOHANG, nullptr);
    if (ended < 0) return;
    if (ended > 0) continue;
    if (!KillChildren()) return;
    bare::Wait(-1, nullptr, 0, nullptr);
  }
}

}  // namespace vexaplatform
