#ifndef VEXATHUMB_TESTS_KIT_RUN_TOOL_H_
#define VEXATHUMB_TESTS_KIT_RUN_TOOL_H_

#include <string>
#include <vector>

namespace vexathumb::kit {

// Runs a program, its absolute path first, without a shell, and returns what it wrote to standard
// output. `input` becomes its standard input. Throws std::runtime_error, with what the program
// wrote to standard error, unless it exits with 0. Callable from several threads.
std::string RunTool(const std::vector<std::string>& argv, const std::string& input = "/dev/null");

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_RUN_TOOL_H_
