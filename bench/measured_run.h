#ifndef VEXATHUMB_BENCH_MEASURED_RUN_H_
#define VEXATHUMB_BENCH_MEASURED_RUN_H_

#include <string>
#include <vector>

namespace vexathumb::bench {

// Of a whole process with all that it starts and waits for.
struct Cost {
  double seconds = 0;
  double cpu_seconds = 0;
};

struct Command {
  std::vector<std::string> argv;              // the program's absolute path first
  std::vector<std::string> environment = {};  // "NAME=value", the whole of it
  std::string output = "/dev/null";           // a file, replaced by the program's standard output
};

// Runs a program to its end. Throws std::runtime_error unless it exits with 0.
Cost MeasureRun(const Command& command);

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_MEASURED_RUN_H_
