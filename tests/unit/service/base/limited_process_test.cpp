#include "service/base/limited_process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using End = LimitedProcess::End;

constexpr size_t kMemory = size_t{64} << 20;

size_t OpenFiles() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    count += entry.path().filename() == "x" ? 0U : 1U;
  }
  return count - 1;  // the folder itself
}

std::string Work(int file, const std::string& task) {
  if (task == "read") {
    std::string bytes(100, '\0');
    const ssize_t count = pread(file, bytes.data(), bytes.size(), 0);
    return bytes.substr(0, count < 0 ? 0 : static_cast<size_t>(count));
  }
  if (task == "count files") return std::to_string(OpenFiles());
  if (task == "process") return std::to_string(getpid());
  if (task == "compute") {
    for (volatile unsigned i = 0;; i = i + 1) {
    }
  }
  if (task == "hold memory") {
    std::string much(2 * kMemory, 'x');
    return much.substr(0, 1);
  }
  if (task == "sleep") sleep(1000);
  if (task == "throw") throw std::runtime_error("");
  if (task == "break") raise(SIGSEGV);
  if (task == "be killed") raise(SIGKILL);
  return "";
}

class LimitedProcessTest : public testing::Test {
 protected:
  LimitedProcessTest() {
    kit::WriteFile(folder_ / "file", "its content");
    file_ = posix::UniqueFd(open((folder_ / "file").c_str(), O_RDONLY | O_CLOEXEC));
  }

  LimitedProcess::Result Run(const std::string& task) { return process_.Run(file_.get(), task); }

  const kit::TempDir folder_;
  posix::UniqueFd file_;
  std::mutex mutex_;
  LimitedProcess process_{&Work, {kMemory, milliseconds(300), seconds(2)}, mutex_};
};

TEST_F(LimitedProcessTest, AnswersAboutTheFile) {
  EXPECT_EQ(Run("read").answer, "its content");
  EXPECT_EQ(Run("read").end, End::kAnswered);
}

TEST_F(LimitedProcessTest, IsOneForAllJobsThatEndWell) {
  const std::string first = Run("process").answer;
  EXPECT_NE(first, std::to_string(getpid()));
  EXPECT_EQ(Run("process").answer, first);
}

// Streams, conversation, and the file of the job.
TEST_F(LimitedProcessTest, HasNothingOpenBesides) {
  const posix::UniqueFd other(open((folder_ / "file").c_str(), O_RDONLY));
  EXPECT_EQ(Run("count files").answer, "5");
  EXPECT_EQ(Run("count files").answer, "5");
}

TEST_F(LimitedProcessTest, KeepsNoLockOfItsHost) {
  const std::string path = folder_ / "lock";
  posix::UniqueFd lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
  Run("read");
  lock.Close();
  const posix::UniqueFd other(open(path.c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

struct BadEnd {
  const char* name;
  const char* task;
  End end;
};

class BadEndTest : public LimitedProcessTest, public testing::WithParamInterface<BadEnd> {};

TEST_P(BadEndTest, IsToldAndCostsNothingElse) {
#ifdef VEXATHUMB_SANITIZED
  if (GetParam().end == End::kOutOfMemory || GetParam().task == std::string("break")) {
    GTEST_SKIP() << "sanitizers take memory, and signals, for themselves";
  }
#endif
  EXPECT_EQ(Run(GetParam().task).end, GetParam().end);
  EXPECT_EQ(Run("read").answer, "its content");
  EXPECT_EQ(Run(GetParam().task).end, GetParam().end) << "after another job";
  EXPECT_EQ(Run("read").answer, "its content");
}

INSTANTIATE_TEST_SUITE_P(, BadEndTest,
                         testing::Values(BadEnd{"OutOfTime", "compute", End::kOutOfTime},
                                         BadEnd{"OutOfMemory", "hold memory", End::kOutOfMemory},
                                         BadEnd{"Waiting", "sleep", End::kStopped},
                                         BadEnd{"Exception", "throw", End::kCrashed},
                                         BadEnd{"Crash", "break", End::kCrashed},
                                         BadEnd{"Killed", "be killed", End::kStopped}),
                         kit::CaseName());

// The host may wait for its children itself, or for none: then nothing proves that the file is bad.
TEST_F(LimitedProcessTest, EndsInAWayNobodyKnowsWhereTheHostIgnoresItsChildren) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  const End end = Run("throw").end;
  const std::string answer = Run("read").answer;
  signal(SIGCHLD, before);
  EXPECT_EQ(end, End::kStopped);
  EXPECT_EQ(answer, "its content");
}

TEST_F(LimitedProcessTest, IsReplacedWhenItWasKilledMeanwhile) {
  const pid_t process = std::stoi(Run("process").answer);
  kill(process, SIGKILL);
  EXPECT_EQ(Run("read").answer, "its content");
}

// A signal from the terminal is for the host, which then tells what it has done.
TEST_F(LimitedProcessTest, IsNotEndedWithAnInterruption) {
  const std::string process = Run("process").answer;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) kill(std::stoi(process), signal);
  EXPECT_EQ(Run("process").answer, process);
}

TEST_F(LimitedProcessTest, IsNotSharedWithAFork) {
  const std::string process = Run("process").answer;
  const pid_t fork_of_host = fork();
  if (fork_of_host == 0) _exit(Run("process").answer == process ? 1 : 0);
  int status = 0;
  waitpid(fork_of_host, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Run("process").answer, process);
}

TEST_F(LimitedProcessTest, EndsWithItsHost) {
  int answer[2];
  ASSERT_EQ(pipe2(answer, O_CLOEXEC), 0);
  const posix::UniqueFd from(answer[0]);
  posix::UniqueFd to(answer[1]);
  const pid_t host = fork();
  if (host == 0) {
    const std::string process = Run("process").answer;
    if (write(to.get(), process.data(), process.size()) < 0) _exit(1);
    _exit(0);
  }
  to.Close();
  std::string process(20, '\0');
  process.resize(static_cast<size_t>(read(from.get(), process.data(), process.size())));
  waitpid(host, nullptr, 0);
  const auto has_ended = [&process] {
    std::string status;
    try {
      status = kit::ReadFile("/proc/" + process + "/stat");
    } catch (const std::exception&) {
    }
    return status.empty() || status.find(") Z") != std::string::npos;
  };
  const auto end = std::chrono::steady_clock::now() + seconds(30);
  while (!has_ended() && std::chrono::steady_clock::now() < end) usleep(10'000);
  EXPECT_TRUE(has_ended());
}

}  // namespace
}  // namespace vexathumb::service
