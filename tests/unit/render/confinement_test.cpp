#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::render {
namespace {

using testing::ValuesIn;

// What the probe's status says.
constexpr int kDone = 0;
constexpr int kDenied = 10;

struct ActName {
  std::string operator()(const testing::TestParamInfo<std::string>& info) const {
    std::string name;
    bool is_first = true;
    for (const char c : info.param) {
      if (c == ' ' || c == '\'') {
        is_first = true;
      } else {
        name += is_first ? static_cast<char>(toupper(c)) : c;
        is_first = false;
      }
    }
    return name;
  }
};

class ConfinementTest : public testing::TestWithParam<std::string> {
 protected:
  // How a confined process ended that tried the act.
  int Try() {
    kit::WriteFile(dir_ / "file", "content");
    const std::string path = dir_ / "file";
    const std::string act = GetParam();
    char* const arguments[] = {const_cast<char*>(CONFINEMENT_PROBE), const_cast<char*>(act.c_str()),
                               const_cast<char*>(path.c_str()), nullptr};
    pid_t process = -1;
    int status = -1;
    EXPECT_EQ(posix_spawn(&process, CONFINEMENT_PROBE, nullptr, nullptr, arguments, environ), 0);
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return status;
  }

  kit::TempDir dir_;
};

class AllowedAct : public ConfinementTest {};

TEST_P(AllowedAct, IsDone) {
  const int status = Try();
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), kDone);
}

INSTANTIATE_TEST_SUITE_P(Acts, AllowedAct,
                         ValuesIn(std::vector<std::string>{"starts a thread", "takes memory",
                                                           "writes to its file", "cuts its file",
                                                           "asks of its file"}),
                         ActName());

class DeniedAct : public ConfinementTest {};

TEST_P(DeniedAct, FailsOrEndsTheProcess) {
  const int status = Try();
  if (WIFSIGNALED(status)) {
    EXPECT_EQ(WTERMSIG(status), SIGSYS);
  } else {
    EXPECT_EQ(WEXITSTATUS(status), kDenied);
  }
  EXPECT_EQ(kit::ReadFile(dir_ / "file"), "content");
}

INSTANTIATE_TEST_SUITE_P(Acts, DeniedAct,
                         ValuesIn(std::vector<std::string>{"opens a file",
                                                           "opens a file to write",
                                                           "opens by openat2",
                                                           "creates a file",
                                                           "cuts a file",
                                                           "removes a file",
                                                           "renames a file",
                                                           "links a file",
                                                           "makes a folder",
                                                           "changes a mode",
                                                           "changes its file's mode",
                                                           "changes an attribute",
                                                           "asks of a path",
                                                           "asks whether a path exists",
                                                           "writes to a file that was open",
                                                           "reads what was open",
                                                           "makes a socket",
                                                           "makes an internet socket",
                                                           "connects",
                                                           "makes a pair of sockets",
                                                           "forks",
                                                           "makes a process by clone3",
                                                           "executes a program",
                                                           "signals its parent",
                                                           "signals itself",
                                                           "signals a thread of its parent",
                                                           "opens a descriptor of its parent",
                                                           "traces its parent",
                                                           "reads its parent's memory",
                                                           "makes a file in memory",
                                                           "shares memory",
                                                           "shares memory by System V",
                                                           "raises a limit",
                                                           "sets its timer",
                                                           "sets another's limit",
                                                           "survives its parent",
                                                           "changes its user",
                                                           "leaves for a namespace",
                                                           "mounts",
                                                           "loads a program into the kernel",
                                                           "watches performance",
                                                           "has the kernel work for it",
                                                           "sends its signals to others",
                                                           "locks its file",
                                                           "inserts into a terminal"}),
                         ActName());

}  // namespace
}  // namespace vexathumb::render
