#ifndef VEXATHUMB_TESTS_KIT_RUN_TOOL_H_
#define VEXATHUMB_TESTS_KIT_RUN_TOOL_H_

#include <stdexcept>
#include <string>
#include <vector>

namespace vexathumb::kit {

// A program that could not be started, or ended otherwise than with 0: what() has the command and
// all that it wrote to standard error, Reason() the last line of that.
class ToolFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  std::string Reason() const;
};

// Runs a program, its absolute path first, without a shell, and returns what it wrote to standard
// output. `input` becomes its standard input. Throws ToolFailure unless it exits with 0. Callable
// from several threads.
std::string RunTool(const std::vector<std::string>& argv, const std::string& input = "/dev/null");

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_RUN_TOOL_H_
