#ifndef VEXATHUMB_TESTS_KIT_DOUBLES_LOG_CAPTURE_H_
#define VEXATHUMB_TESTS_KIT_DOUBLES_LOG_CAPTURE_H_

#include <string>
#include <vector>

namespace vexathumb::kit {

// A program that links vexathumb_kit_log has its syslog calls, its own and those of the libraries
// that it loads, recorded here instead of sent to the system's log. Callable from any thread.

struct LogLine {
  int priority;
  std::string format;
  std::string text;  // with the arguments filled in, %m too
};

// The lines since the last call, in order.
std::vector<LogLine> TakeLog();

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_DOUBLES_LOG_CAPTURE_H_
