#include "programs/vexathumb-web/shared_counters.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"

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

// Where this process has mapped the file.
void* AddressOf(const std::string& file) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(file) == std::string::npos) continue;
    return reinterpret_cast<void*>(std::stoull(line, nullptr, 16));
  }
  return nullptr;
}

// A process that reads strangers' pictures ends over one that is cut short underneath, wherever it
// has mapped it.
TEST_F(SharedCounterFile, IsNotGuardedInProcessesThatAreForked) {
  const SharedCounters counters(folder_ / "lock", "counters", kLayout, kCount);
  void* const address = AddressOf(folder_ / "lock/counters");
  ASSERT_NE(address, nullptr);
  const std::string picture = folder_ / "picture";
  kit::WriteFile(picture, "xx");
  const posix::UniqueFd file(open(picture.c_str(), O_RDONLY | O_CLOEXEC));
  const pid_t child = fork();
  if (child == 0) {
    const void* const mapped =
        mmap(address, 1, PROT_READ, MAP_SHARED | MAP_FIXED_NOREPLACE, file.get(), 0);
    if (mapped != address || truncate(picture.c_str(), 0) != 0) _exit(2);
    _exit(*static_cast<const volatile char*>(mapped) == 'x' ? 3 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS) << status;
}

}  // namespace
}  // namespace vexathumb::web
