#include "posix/process_end.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>

namespace vexathumb::posix {
namespace {

template <typename Act>
int StatusAfter(Act act) {
  int status = -1;
  const pid_t process = fork();
  if (process == 0) {
    act();
    _exit(0);
  }
  EXPECT_EQ(waitpid(process, &status, 0), process);
  return status;
}

TEST(ProcessEndTest, IsToldByStatusOrSignal) {
  EXPECT_EQ(TextOfEnd(StatusAfter([] { _exit(3); })), "left with status 3");
  EXPECT_EQ(TextOfEnd(StatusAfter([] { raise(SIGKILL); })), "was ended by signal 9, Killed");
}

TEST(ProcessEndTest, IsTheProcesssOwnFaultWhereItBrokeARule) {
  for (const int own : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGSYS, SIGTRAP}) {
    EXPECT_TRUE(IsOwnFault(own)) << own;
  }
  for (const int of_others : {0, SIGKILL, SIGTERM, SIGBUS, SIGXCPU}) {
    EXPECT_FALSE(IsOwnFault(of_others)) << of_others;
  }
}

TEST(ProcessEndTest, TheMachineHasAPageAndNotAllThatCanBeCounted) {
  EXPECT_TRUE(MachineHasMemory(4096));
  EXPECT_FALSE(MachineHasMemory(SIZE_MAX / 2));
}

}  // namespace
}  // namespace vexathumb::posix
