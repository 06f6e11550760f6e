#include "programs/vexathumb-web/shared_counters.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "kit/temp_dir.h"

namespace vexathumb::web {
namespace {

constexpr uint32_t kLayout = 1;
constexpr uint32_t kCount = 2000;  // several pages

class SharedCounterFile : public testing::Test {
 protected:
  kit::TempDir folder_;
};

// Between one look after the file and the next, when nobody can know.
TEST_F(SharedCounterFile, ThatIsCutShortIsThisProcessesOwn) {
  SharedCounters counters(folder_ / "lock", "counters", kLayout, kCount);
  ASSERT_TRUE(counters.IsShared());
  counters.Add(kCount - 1, 5);
  ASSERT_EQ(truncate((folder_ / "lock/counters").c_str(), 0), 0);
  counters.Add(kCount - 1, 1);
  counters.Add(0, 2);
  EXPECT_EQ(counters[kCount - 1], 1U);
  EXPECT_EQ(counters[0], 2U);
  counters.Refresh();
  EXPECT_TRUE(counters.IsShared());
  EXPECT_EQ(counters[0], 0U);
}

TEST_F(SharedCounterFile, IsOneForAllThatStartAtOnce) {
  constexpr int kProcesses = 8;
  constexpr int kLongest = 30000;  // milliseconds
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    SharedCounters counters(folder_ / "lock", "counters", kLayout, kCount);
    counters.Add(7, 1);
    for (int wait = 0; !counters.IsShared() && wait < kLongest; ++wait) {
      usleep(1000);
      counters.Refresh();
    }
    _exit(0);
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  const SharedCounters counters(folder_ / "lock", "counters", kLayout, kCount);
  EXPECT_EQ(counters[7], static_cast<uint64_t>(kProcesses));
}

TEST_F(SharedCounterFile, IsNotForProcessesThatAreForked) {
  SharedCounters counters(folder_ / "lock", "counters", kLayout, kCount);
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGSEGV, SIG_DFL);
    counters.Add(0, 1);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(counters[0], 0U);
}

}  // namespace
}  // namespace vexathumb::web
