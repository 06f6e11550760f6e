#include "platform/tool/tool_usage.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/base/bare_calls.h"

namespace vexaplatform {
namespace {

constexpr uint64_t kMebibyte = uint64_t{1} << 20U;

// A small file of the kernel's, as text.
class KernelText {
 public:
  explicit KernelText(const char* path) {
    const bare::Descriptor file(bare::Open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t size = file ? bare::Read(file.get(), text_, sizeof(text_) - 1) : 0;
    text_[std::max<ssize_t>(size, 0)] = '\0';
  }

  const char* text() const { return text_; }

 private:
  char text_[1024];
};

uint64_t NumberAt(const char* text) {
  uint64_t number = 0;
  for (; text != nullptr && *text >= '0' && *text <= '9'; ++text) {
    number = number * 10 + static_cast<uint64_t>(*text - '0');
  }
  return number;
}

// The number behind a name in a list of lines; 0 when it is not there.
uint64_t NumberOf(const char* text, const char* name) {
  const char* const found = strstr(text, name);
  return found == nullptr ? 0 : NumberAt(found + strlen(name));
}

// The word behind so many blanks.
const char* WordBehind(const char* text, int blanks) {
  for (; text != nullptr && blanks > 0; --blanks) {
    text = strchr(text, ' ');
    if (text != nullptr) ++text;
  }
  return text;
}

uint64_t BytesWritten(pid_t process) {
  char path[64];
  snprintf(path, sizeof(path), "/proc/%d/io", process);
  const KernelText io(path);
  // What is written through a mapping counts in the second alone, and what goes into a stream in
  // the first.
  return std::max(NumberOf(io.text(), "\nwchar: "), NumberOf(io.text(), "\nwrite_bytes: "));
}

uint64_t Threads(pid_t process) {
  constexpr int kBlanks = 18;  // from the name, in brackets, to their number
  char path[64];
  snprintf(path, sizeof(path), "/proc/%d/stat", process);
  const KernelText status(path);
  return NumberAt(WordBehind(strrchr(status.text(), ')'), kBlanks));
}

}  // namespace

ToolUsage UsageOf(pid_t process) { return {BytesWritten(process), Threads(process)}; }

bool TellsUsage() {
  const KernelText io("/proc/self/io");
  return strstr(io.text(), "\nwrite_bytes: ") != nullptr && Threads(getpid()) > 0;
}

ToolLimit LimitPassed(const ToolUsage& usage, const ToolLimits& limits) {
  if (usage.written > static_cast<uint64_t>(limits.written) * kMebibyte) return ToolLimit::kWritten;
  return usage.tasks > static_cast<uint64_t>(limits.tasks) ? ToolLimit::kTasks : ToolLimit::kNone;
}

uint64_t TasksOfMachine() {
  const KernelText load("/proc/loadavg");
  const char* const slash = strchr(load.text(), '/');
  return slash == nullptr ? 0 : NumberAt(slash + 1);
}

}  // namespace vexaplatform
