#ifndef VEXATHUMB_TESTS_SYSTEM_WEB_PROCESSES_H_
#define VEXATHUMB_TESTS_SYSTEM_WEB_PROCESSES_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace vexathumb::web_test {

// Starts a program, its standard input `input`, its output thrown away. It does not outlive this
// thread.
pid_t StartProgram(const std::vector<std::string>& argv, int input = -1);

// Asks a child to end and waits for it.
void EndProgram(pid_t child);

struct Process {
  pid_t pid;
  pid_t parent;
  std::string name;
  char state;  // as /proc has it: 'Z' is one that nobody has waited for
};

// All processes below `ancestor`, without itself.
std::vector<Process> ProcessesBelow(pid_t ancestor);

// A port of 127.0.0.1 that was free a moment ago.
int FreePort();

// Looks again and again until it is so. False after half a minute.
bool Eventually(const std::function<bool()>& is_so);

}  // namespace vexathumb::web_test

#endif  // VEXATHUMB_TESTS_SYSTEM_WEB_PROCESSES_H_
