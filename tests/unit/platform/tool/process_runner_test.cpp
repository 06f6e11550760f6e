#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "unit/platform/in_child.h"
#include "unit/platform/scoped_settings.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::ReadFile;
using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

constexpr char kProbe[] = PROBE_CHILD;

int RunProbe(const char* action, const std::string& value) {
  const char* const argv[] = {kProbe, action, value.c_str(), nullptr};
  return VLIBCExecv(kProbe, argv, 1);
}

FILE* OpenProbe(const char* mode, const char* action, const std::string& value) {
  const char* const argv[] = {kProbe, action, value.c_str(), nullptr};
  return VLIBCPopenv(kProbe, mode, argv);
}

std::string ReadAll(FILE* stream) {
  std::string text;
  for (int c = getc(stream); c != EOF; c = getc(stream)) text += static_cast<char>(c);
  return text;
}

bool HasLine(const std::string& report, const std::string& wanted) {
  std::istringstream lines(report);
  for (std::string line; std::getline(lines, line);) {
    if (line == wanted) return true;
  }
  return false;
}

// The numbers of the open descriptors that a report names.
std::string Descriptors(const std::string& report) {
  std::istringstream words(report);
  std::string numbers;
  for (std::string word; words >> word;) {
    if (word == "descriptor" && words >> word) numbers += word + " ";
  }
  return numbers;
}

// Puts another file in the place of one of this process's descriptors.
class ScopedRedirect {
 public:
  ScopedRedirect(int descriptor, int target) : descriptor_(descriptor), kept_(dup(descriptor)) {
    dup2(target, descriptor);
  }
  ScopedRedirect(const ScopedRedirect&) = delete;
  ScopedRedirect& operator=(const ScopedRedirect&) = delete;
  ~ScopedRedirect() {
    dup2(kept_, descriptor_);
    close(kept_);
  }

 private:
  int descriptor_;
  int kept_;
};

int OpenLog(const std::string& path) {
  return open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
}

struct Ending {
  const char* name;
  const char* action;
  const char* value;
  int answer;
};

class ChildEnding : public testing::TestWithParam<Ending> {};

TEST_P(ChildEnding, IsAnsweredByTheVectorCall) {
  EXPECT_EQ(RunProbe(GetParam().action, GetParam().value), GetParam().answer);
}

TEST_P(ChildEnding, IsAnsweredByTheListCall) {
  EXPECT_EQ(VLIBCExecl(kProbe, 0, GetParam().action, GetParam().value, static_cast<char*>(nullptr)),
            GetParam().answer);
}

TEST_P(ChildEnding, IsAnsweredByTheClosingOfAStream) {
  for (const char* mode : {"r", "w"}) {
    FILE* stream = OpenProbe(mode, GetParam().action, GetParam().value);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(VLIBCPclose(stream), GetParam().answer);
  }
}

INSTANTIATE_TEST_SUITE_P(, ChildEnding,
                         testing::Values(Ending{"Success", "exit", "0", 0},
                                         Ending{"Status1", "exit", "1", 1},
                                         Ending{"Status255", "exit", "255", 255},
                                         Ending{"Terminated", "signal", "15", 256 + SIGTERM},
                                         Ending{"Killed", "signal", "9", 256 + SIGKILL}),
                         vexathumb::kit::CaseName());

struct FailedStart {
  const char* name;
  const char* path;  // below the test's folder, which has a "folder" and an unexecutable "file"
  int error;
};

class ProgramThatCannotStart : public testing::TestWithParam<FailedStart> {
 protected:
  ProgramThatCannotStart() : path_(folder_ / GetParam().path) {
    mkdir((folder_ / "folder").c_str(), 0700);
    WriteFile(folder_ / "file", "no program");
  }

  TempDir folder_;
  std::string path_;
  const char* const argv_[2] = {path_.c_str(), nullptr};
};

TEST_P(ProgramThatCannotStart, IsToldFromOneThatFailed) {
  EXPECT_EQ(VLIBCExecv(path_.c_str(), argv_, 1), -1);
  EXPECT_EQ(errno, GetParam().error);
}

TEST_P(ProgramThatCannotStart, HasNoStream) {
  EXPECT_EQ(VLIBCPopenv(path_.c_str(), "r", argv_), nullptr);
  EXPECT_EQ(errno, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(, ProgramThatCannotStart,
                         testing::Values(FailedStart{"Missing", "missing", ENOENT},
                                         FailedStart{"Folder", "folder", EACCES},
                                         FailedStart{"NotExecutable", "file", EACCES},
                                         FailedStart{"BelowAFile", "file/program", ENOTDIR}),
                         vexathumb::kit::CaseName());

TEST(ProcessRunner, RefusesWhatItCannotUnderstand) {
  const char* const argv[] = {kProbe, "exit", "0", nullptr};
  EXPECT_EQ(VLIBCExecv(nullptr, argv, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VLIBCExecv(kProbe, nullptr, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VLIBCExecl(nullptr, 0, static_cast<char*>(nullptr)), -1);
  EXPECT_EQ(errno, EINVAL);
  for (const char* mode : {"", "a", "rw", "r+"}) {
    EXPECT_EQ(VLIBCPopenv(kProbe, mode, argv), nullptr) << mode;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(VLIBCPopenv(kProbe, nullptr, argv), nullptr);
  EXPECT_EQ(VLIBCPclose(nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(ProcessRunner, HandsArgumentsOnUnchangedAndNothingOfTheEnvironment) {
  const TempDir folder;
  setenv("PROBE_VARIABLE", "a value", 1);
  EXPECT_EQ(VLIBCExecl(kProbe, 0, "report", (folder / "report").c_str(), "", "a b", "$HOME;*",
                       static_cast<char*>(nullptr)),
            0);
  const std::string report = ReadFile(folder / "report");
  EXPECT_NE(report.find("argument " + std::string(kProbe) + "\nargument report\nargument " +
                        (folder / "report") + "\nargument \nargument a b\nargument $HOME;*\n"),
            std::string::npos)
      << report;
  EXPECT_EQ(report.find("PROBE_VARIABLE"), std::string::npos) << report;
  EXPECT_TRUE(HasLine(report, "variable PATH=/usr/bin:/bin")) << report;
  EXPECT_TRUE(HasLine(report, "variable LC_ALL=C.UTF-8")) << report;
}

TEST(ProcessRunner, PutsAChildUnderItsLimits) {
  const TempDir folder;
  const ScopedSettings settings(
      "[tool other]\naddress_space = 1000\ncpu_time = 7\nfile_size = 3\nopen_files = 50\n");
  EXPECT_EQ(RunProbe("report", folder / "report"), 0);
  const std::string report = ReadFile(folder / "report");
  EXPECT_TRUE(HasLine(report, "limit address_space 1048576000 1048576000")) << report;
  EXPECT_TRUE(HasLine(report, "limit cpu_time 7 12")) << report;
  EXPECT_TRUE(HasLine(report, "limit file_size 3145728 3145728")) << report;
  EXPECT_TRUE(HasLine(report, "limit open_files 50 50")) << report;
  EXPECT_TRUE(HasLine(report, "limit core 0 0")) << report;
}

TEST(ProcessRunner, LeavesALowerLimitOfTheHostsAsItIs) {
  const TempDir folder;
  const ScopedSettings settings("[tool other]\nopen_files = 50\n");
  EXPECT_EQ(InChild([&folder] {
              const rlimit lower = {30, 40};
              if (setrlimit(RLIMIT_NOFILE, &lower) != 0) return 1;
              return RunProbe("report", folder / "report");
            }),
            0);
  const std::string report = ReadFile(folder / "report");
  EXPECT_TRUE(HasLine(report, "limit open_files 40 40")) << report;
}

// What the host has and a child must not have: other descriptors, blocked and ignored signals.
class UntidyHost : public testing::Test {
 protected:
  UntidyHost() {
    sigset_t blocked;
    sigfillset(&blocked);
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
    for (size_t i = 0; i < std::size(kIgnored); ++i) {
      handlers_[i] = signal(kIgnored[i], SIG_IGN);
    }
    descriptors_[0] = open("/dev/zero", O_RDONLY);
    descriptors_[1] = dup2(descriptors_[0], 57);
  }
  ~UntidyHost() override {
    for (const int descriptor : descriptors_) close(descriptor);
    for (size_t i = 0; i < std::size(kIgnored); ++i) signal(kIgnored[i], handlers_[i]);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }

  static constexpr int kIgnored[] = {SIGPIPE, SIGINT, SIGHUP, SIGUSR2};
  sigset_t mask_;
  sighandler_t handlers_[std::size(kIgnored)];
  int descriptors_[2];
  TempDir folder_;
};

TEST_F(UntidyHost, StartsTidyChildren) {
  EXPECT_EQ(RunProbe("report", folder_ / "report"), 0);
  const std::string report = ReadFile(folder_ / "report");
  EXPECT_EQ(Descriptors(report), "0 1 2 ");
  EXPECT_TRUE(HasLine(report, "descriptor 0 /dev/null")) << report;
  EXPECT_TRUE(HasLine(report, "descriptor 1 /dev/null")) << report;
  EXPECT_TRUE(HasLine(report, "blocked 0000000000000000")) << report;
  EXPECT_TRUE(HasLine(report, "ignored 0000000000000000")) << report;
}

TEST_F(UntidyHost, StartsTidyChildrenBehindAStream) {
  FILE* other = OpenProbe("r", "say", "meanwhile");  // its pipe stays out of the second child
  FILE* stream = OpenProbe("r", "report", "-");
  const std::string report = ReadAll(stream);
  EXPECT_EQ(VLIBCPclose(stream), 0);
  EXPECT_EQ(ReadAll(other), "meanwhile");
  EXPECT_EQ(VLIBCPclose(other), 0);
  EXPECT_EQ(Descriptors(report), "0 1 2 ");
  EXPECT_TRUE(HasLine(report, "descriptor 0 /dev/null")) << report;
  EXPECT_TRUE(HasLine(report, "blocked 0000000000000000")) << report;
  EXPECT_TRUE(HasLine(report, "ignored 0000000000000000")) << report;
}

struct ClosedStreams {
  const char* name;
  std::vector<int> closed;
};

class HostWithoutStreams : public testing::TestWithParam<ClosedStreams> {};

TEST_P(HostWithoutStreams, ReadsAChildThatHasAllThree) {
  const TempDir folder;
  const int answer = InChild([&folder] {
    for (const int descriptor : GetParam().closed) close(descriptor);
    FILE* stream = OpenProbe("r", "report", "-");
    if (stream == nullptr) return 100;
    const bool apart = fileno(stream) > STDERR_FILENO;
    WriteFile(folder / "report", ReadAll(stream));
    const int ending = VLIBCPclose(stream);
    return apart ? ending : 101;
  });
  EXPECT_EQ(answer, 0);
  const std::string report = ReadFile(folder / "report");
  EXPECT_EQ(Descriptors(report), "0 1 2 ");
  EXPECT_TRUE(HasLine(report, "descriptor 0 /dev/null")) << report;
}

TEST_P(HostWithoutStreams, FeedsAChild) {
  const TempDir folder;
  const int answer = InChild([&folder] {
    for (const int descriptor : GetParam().closed) close(descriptor);
    FILE* stream = OpenProbe("w", "save", folder / "saved");
    if (stream == nullptr) return 100;
    fputs("what was said", stream);
    return VLIBCPclose(stream);
  });
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(ReadFile(folder / "saved"), "what was said");
}

INSTANTIATE_TEST_SUITE_P(, HostWithoutStreams,
                         testing::Values(ClosedStreams{"NoInput", {0}},
                                         ClosedStreams{"NoOutput", {1}},
                                         ClosedStreams{"NoError", {2}},
                                         ClosedStreams{"NoInputAndOutput", {0, 1}},
                                         ClosedStreams{"OutputAndErrorMissing", {1, 2}},
                                         ClosedStreams{"None", {0, 1, 2}}),
                         vexathumb::kit::CaseName());

// The host's standard output and error are files of the test's folder.
class HostOutput : public testing::Test {
 protected:
  // Runs the child with the two streams of the host in the given files.
  void RunWith(const std::string& output, const std::string& error, const char* action) {
    const int output_log = OpenLog(folder_ / output);
    const int error_log = OpenLog(folder_ / error);
    {
      const ScopedRedirect first(STDOUT_FILENO, output_log);
      const ScopedRedirect second(STDERR_FILENO, error_log);
      EXPECT_EQ(RunProbe(action, "heard"), 0);
      FILE* stream = OpenProbe("w", action, "heard");
      EXPECT_EQ(VLIBCPclose(stream), 0);
    }
    close(output_log);
    close(error_log);
  }

  TempDir folder_;
};

TEST_F(HostOutput, IsNeverWrittenByAChild) {
  RunWith("output", "error", "say");
  EXPECT_EQ(ReadFile(folder_ / "output"), "");
}

TEST_F(HostOutput, IsNotReachedThroughStandardErrorEither) {
  RunWith("both", "both", "complain");
  EXPECT_EQ(ReadFile(folder_ / "both"), "");
}

TEST_F(HostOutput, LeavesTheHostsStandardErrorToItsChildren) {
  RunWith("output", "error", "complain");
  EXPECT_EQ(ReadFile(folder_ / "error"), "heardheard");
}

std::atomic<int> interruptions{0};

TEST(ProcessRunner, GoesOnWaitingWhenASignalInterrupts) {
  struct sigaction action {};
  struct sigaction previous {};
  action.sa_handler = [](int) { ++interruptions; };  // without SA_RESTART
  sigaction(SIGUSR1, &action, &previous);
  EXPECT_EQ(RunProbe("interrupt", std::to_string(getpid())), 7);
  EXPECT_GT(interruptions, 0);
  sigaction(SIGUSR1, &previous, nullptr);
}

TEST(ProcessRunner, ReapsItsChildren) {
  EXPECT_EQ(RunProbe("exit", "3"), 3);
  EXPECT_EQ(VLIBCPclose(OpenProbe("r", "exit", "3")), 3);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(ProcessRunner, EndsATalkativeChildWhoseStreamIsClosed) {
  EXPECT_THAT(VLIBCPclose(OpenProbe("r", "flood", "1000000")), testing::AnyOf(256 + SIGPIPE, 3));
}

TEST(ProcessRunner, ClosesAStreamOfOtherOriginAndSaysSo) {
  const TempDir folder;
  FILE* stream = fopen((folder / "file").c_str(), "w");
  fputs("kept", stream);
  EXPECT_EQ(VLIBCPclose(stream), -1);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_EQ(ReadFile(folder / "file"), "kept");  // was flushed
}

bool HasEnded(pid_t process) {
  std::istringstream stat(ReadFile("/proc/" + std::to_string(process) + "/stat"));
  std::string id;
  std::string name;
  std::string state;
  stat >> id >> name >> state;
  return !stat || state == "Z";
}

TEST(ProcessRunner, LeavesNoToolBehindWhoseSupervisorIsKilled) {
  const ScopedSettings settings("[tools]\nconfinement = no\n");
  const TempDir folder;
  const std::string command =
      "echo $$ >" + (folder / "tool") + "; kill -KILL $PPID; exec sleep 1000";
  const char* const argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
  EXPECT_NE(VLIBCExecv("/bin/sh", argv, 1), 0);
  const pid_t tool = std::stoi(ReadFile(folder / "tool"));
  while (!HasEnded(tool)) usleep(2000);
}

TEST(ProcessRunner, ServesEightThreadsAtOnce) {
  std::vector<std::thread> threads;
  threads.reserve(8);
  std::atomic<int> right{0};
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([thread, &right] {
      for (int round = 0; round < 10; ++round) {
        const int status = thread * 10 + round;
        const std::string text = "text " + std::to_string(status);
        FILE* stream = OpenProbe("r", "say", text);
        const bool ran = RunProbe("exit", std::to_string(status)) == status;
        const bool read = stream != nullptr && ReadAll(stream) == text;
        if (ran && read && VLIBCPclose(stream) == 0) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 80);
}

}  // namespace
}  // namespace vexaplatform
