#include "kit/doubles/log_capture.h"

#include <syslog.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace vexathumb::kit {
namespace {

std::mutex mutex;
std::vector<LogLine> lines;

void Record(int priority, const char* format, va_list arguments) {
  const int caller_errno = errno;
  va_list measured;
  va_copy(measured, arguments);
  const int length = vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string text(static_cast<size_t>(length) + 1, '\0');
  errno = caller_errno;  // %m reads it
  vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  {
    const std::lock_guard<std::mutex> lock(mutex);
    lines.push_back({priority, format, std::move(text)});
  }
  errno = caller_errno;
}

}  // namespace

std::vector<LogLine> TakeLog() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(lines, {});
}

}  // namespace vexathumb::kit

extern "C" {

__attribute__((visibility("default"))) void vsyslog(int priority, const char* format,
                                                    va_list arguments) {
  vexathumb::kit::Record(priority, format, arguments);
}

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vexathumb::kit::Record(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"
