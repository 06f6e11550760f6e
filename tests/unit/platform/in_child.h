#ifndef VEXAPLATFORM_TESTS_IN_CHILD_H_
#define VEXAPLATFORM_TESTS_IN_CHILD_H_

#include <sys/wait.h>
#include <unistd.h>

namespace vexaplatform {

// Runs `body` in a forked process, whose descriptors and mounts it may spoil, and gives the exit
// status that it returns; -1 when it died.
template <typename Body>
int InChild(Body&& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TESTS_IN_CHILD_H_
