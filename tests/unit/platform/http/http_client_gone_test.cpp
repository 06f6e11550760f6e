#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include "http/http_file_responder.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"
#include "unit/platform/http/http_exchange.h"
#include "unit/platform/in_child.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

// More than any pipe or socket holds.
constexpr size_t kMuch = 8'000'000;

FILE* EndlessStream() {
  const char* const argv[] = {"/usr/bin/yes", nullptr};
  return VLIBCPopenv("/usr/bin/yes", "r", argv);
}

int CountDescriptors() {
  int count = 0;
  DIR* folder = opendir("/proc/self/fd");
  while (readdir(folder) != nullptr) ++count;
  closedir(folder);
  return count;
}

bool HasNoChild() { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }

bool IsPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

// Both ends of a connection to a client.
struct Connection {
  UniqueFd client;
  UniqueFd server;
};

Connection MakePipeConnection() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

Connection MakeSocketConnection() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// How much the client reads before it goes.
enum class Leaving { kAtOnce, kMidBody };

struct Gone {
  const char* name;
  Connection (*connect)();
  Leaving leaving;
};

// In a process of its own whose disposition of SIGPIPE is the deadly default.
class GoneClient : public testing::TestWithParam<Gone> {
 protected:
  GoneClient() { vexathumb::kit::WriteFile(file_, std::string(kMuch, 'x')); }

  // Whether what the response answers, and what it leaves of the process, is as it must be.
  static bool IsQuietFailure(const std::function<int()>& respond) {
    signal(SIGPIPE, SIG_DFL);
    const int descriptors = CountDescriptors();
    Connection connection = GetParam().connect();
    std::thread client;
    if (GetParam().leaving == Leaving::kAtOnce) {
      connection.client = UniqueFd();
    } else {
      client = std::thread([&connection] {
        char first[100'000];
        while (read(connection.client.get(), first, sizeof(first)) < 0) {
        }
        connection.client = UniqueFd();
      });
    }
    bool is_quiet = false;
    {
      const ScopedStdout output(fdopen(connection.server.Release(), "w"));
      fputs("Cache-Control: early\r\n", stdout);
      const bool failed = respond() != 0;
      const bool dropped = fflush(stdout) == 0;  // deadly if anything were left to write
      struct sigaction action {};
      sigaction(SIGPIPE, nullptr, &action);
      is_quiet = failed && dropped && action.sa_handler == SIG_DFL && !IsBlocked(SIGPIPE) &&
                 !IsPending(SIGPIPE) && HasNoChild();
    }
    if (client.joinable()) client.join();
    return is_quiet && CountDescriptors() == descriptors;
  }

  vexathumb::kit::TempDir folder_;
  std::string file_ = folder_ / "a.jpg";
};

TEST_P(GoneClient, OfAFileIsAQuietFailure) {
  EXPECT_EQ(InChild([this] {
              return IsQuietFailure(
                         [this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); })
                         ? 0
                         : 1;
            }),
            0);
}

TEST_P(GoneClient, OfSeveralRangesIsAQuietFailure) {
  EXPECT_EQ(
      InChild([this] {
        const ScopedRequest request(RequestVariables{{"HTTP_RANGE", "bytes=0-3999999,4000010-"}});
        return IsQuietFailure(
                   [this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); })
                   ? 0
                   : 1;
      }),
      0);
}

TEST_P(GoneClient, OfAStreamEndsItsTool) {
  EXPECT_EQ(InChild([] {
              return IsQuietFailure([] {
                return HttpFileResponder().Output(EndlessStream(), "a.jpg", "image/jpeg");
              })
                         ? 0
                         : 1;
            }),
            0);
}

INSTANTIATE_TEST_SUITE_P(
    , GoneClient,
    testing::Values(Gone{"PipeAtOnce", MakePipeConnection, Leaving::kAtOnce},
                    Gone{"PipeMidBody", MakePipeConnection, Leaving::kMidBody},
                    Gone{"SocketAtOnce", MakeSocketConnection, Leaving::kAtOnce},
                    Gone{"SocketMidBody", MakeSocketConnection, Leaving::kMidBody}),
    vexathumb::kit::CaseName());

// A host's own writer that is refused, as one over a FastCGI connection.
TEST(GoneClientOfAStreamWithoutDescriptor, IsAFailureThatLeavesNothing) {
  const vexathumb::kit::TempDir folder;
  vexathumb::kit::WriteFile(folder / "a.jpg", std::string(kMuch, 'x'));
  const cookie_io_functions_t functions = {nullptr,
                                           [](void* /*cookie*/, const char*, size_t) -> ssize_t {
                                             errno = EPIPE;
                                             return 0;
                                           },
                                           nullptr, nullptr};
  const int descriptors = CountDescriptors();
  {
    const ScopedStdout output(fopencookie(nullptr, "w", functions));
    EXPECT_NE(HttpFileResponder().Output((folder / "a.jpg").c_str(), "image/jpeg"), 0);
    EXPECT_NE(HttpFileResponder().Output(EndlessStream(), "a.jpg", "image/jpeg"), 0);
    EXPECT_EQ(fflush(stdout), 0);
  }
  EXPECT_TRUE(HasNoChild());
  EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST(GoneClientOfAHost, KeepsASignalThatWasPendingBefore) {
  EXPECT_EQ(InChild([] {
              sigset_t pipe_signal;
              sigemptyset(&pipe_signal);
              sigaddset(&pipe_signal, SIGPIPE);
              pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
              raise(SIGPIPE);
              Connection connection = MakePipeConnection();
              connection.client = UniqueFd();
              const ScopedStdout output(fdopen(connection.server.Release(), "w"));
              const bool failed = HttpFileResponder().Output("/bin/sh", "image/jpeg") != 0;
              return failed && IsPending(SIGPIPE) && IsBlocked(SIGPIPE) ? 0 : 1;
            }),
            0);
}

TEST(GoneClientOfAHost, IsNotPendingWhereTheHostBlocksTheSignal) {
  EXPECT_EQ(InChild([] {
              sigset_t pipe_signal;
              sigemptyset(&pipe_signal);
              sigaddset(&pipe_signal, SIGPIPE);
              pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
              Connection connection = MakePipeConnection();
              connection.client = UniqueFd();
              const ScopedStdout output(fdopen(connection.server.Release(), "w"));
              const bool failed = HttpFileResponder().Output("/bin/sh", "image/jpeg") != 0;
              return failed && !IsPending(SIGPIPE) && IsBlocked(SIGPIPE) ? 0 : 1;
            }),
            0);
}

TEST(HeadOfAStream, EndsItsTool) {
  EXPECT_EQ(InChild([] {
              const ScopedRequest request(RequestVariables{{"REQUEST_METHOD", "HEAD"}});
              const int descriptors = CountDescriptors();
              const Received received = ThroughStreamWithoutDescriptor([] {
                return HttpFileResponder().Output(EndlessStream(), "a.jpg", "image/jpeg");
              });
              return received.result == 0 && BodyOf(received.text) == "late" && HasNoChild() &&
                             CountDescriptors() == descriptors
                         ? 0
                         : 1;
            }),
            0);
}

TEST(FullDisk, IsAFailure) {
  const vexathumb::kit::TempDir folder;
  vexathumb::kit::WriteFile(folder / "a.jpg", "body");
  const ScopedStdout output(fopen("/dev/full", "we"));
  EXPECT_NE(HttpFileResponder().Output((folder / "a.jpg").c_str(), "image/jpeg"), 0);
  EXPECT_NE(HttpFileResponder().Output(EndlessStream(), "a.jpg", "image/jpeg"), 0);
}

}  // namespace
}  // namespace vexaplatform
