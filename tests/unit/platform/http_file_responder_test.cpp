#include "http/http_file_responder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "kit/files.h"
#include "kit/temp_dir.h"
#include "response_head.h"
#include "unique_fd.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::ReadFile;
using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

constexpr char kProbe[] = PROBE_CHILD;

FILE* Probe(const char* action, const std::string& value) {
  const char* const argv[] = {kProbe, action, value.c_str(), nullptr};
  return VLIBCPopenv(kProbe, "r", argv);
}

// Has another stream in the place of `stdout` while it lives.
class ScopedStdout {
 public:
  explicit ScopedStdout(FILE* stream) : kept_(stdout) { stdout = stream; }
  ScopedStdout(const ScopedStdout&) = delete;
  ScopedStdout& operator=(const ScopedStdout&) = delete;
  ~ScopedStdout() {
    fclose(stdout);
    stdout = kept_;
  }

 private:
  FILE* kept_;
};

// Reads `fd` to its end.
std::string Drain(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t size = 0; (size = read(fd, buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<size_t>(size));
  }
  return text;
}

using Respond = std::function<int()>;

struct Received {
  int result;
  std::string text;
};

Received ThroughFile(const Respond& respond, const char* mode) {
  const TempDir folder;
  Received received;
  {
    const ScopedStdout output(fopen((folder / "output").c_str(), mode));
    fputs("Cache-Control: early\r\n", stdout);
    received.result = respond();
    fputs("late", stdout);
  }
  received.text = ReadFile(folder / "output");
  return received;
}

Received ThroughDescriptors(const Respond& respond, UniqueFd client, UniqueFd server) {
  Received received;
  std::thread reader([&] { received.text = Drain(client.get()); });
  {
    const ScopedStdout output(fdopen(server.Release(), "w"));
    fputs("Cache-Control: early\r\n", stdout);
    received.result = respond();
    fputs("late", stdout);
    fflush(stdout);
  }
  reader.join();
  return received;
}

Received ThroughPipe(const Respond& respond) {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  return ThroughDescriptors(respond, UniqueFd(ends[0]), UniqueFd(ends[1]));
}

// A socket with a small buffer that does not block its writer.
Received ThroughBusySocket(const Respond& respond) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const int small = 4096;
  setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &small, sizeof(small));
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  return ThroughDescriptors(respond, UniqueFd(ends[0]), UniqueFd(ends[1]));
}

// A stream of the host's own making, as over a FastCGI connection.
Received ThroughStreamWithoutDescriptor(const Respond& respond) {
  Received received;
  const cookie_io_functions_t functions = {nullptr,
                                           [](void* text, const char* data, size_t size) {
                                             static_cast<std::string*>(text)->append(data, size);
                                             return static_cast<ssize_t>(size);
                                           },
                                           nullptr, nullptr};
  const ScopedStdout output(fopencookie(&received.text, "w", functions));
  fputs("Cache-Control: early\r\n", stdout);
  received.result = respond();
  const std::string before_late = received.text;  // flushed by the response itself
  fputs("late", stdout);
  fflush(stdout);
  if (received.result == 0) {
    EXPECT_EQ(received.text, before_late + "late");
  }
  return received;
}

struct Output {
  const char* name;
  std::function<Received(const Respond&)> send;
};

class HttpOutput : public testing::TestWithParam<Output> {
 protected:
  HttpOutput() : body_(700'001, '\0') {
    for (size_t i = 0; i < body_.size(); ++i) body_[i] = static_cast<char>(i * 7 >> 2U);
    WriteFile(file_, body_);
  }

  std::string HeadOf(const std::string& file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(status.st_size) +
           "\r\nLast-Modified: Tue, 14 Nov 2023 22:13:20 GMT\r\nETag: " + EntityTag(status) +
           "\r\n\r\n";
  }

  void SetTime(const std::string& file) {
    const struct timespec times[] = {{0, 0}, {1'700'000'000, 0}};
    utimensat(AT_FDCWD, file.c_str(), times, 0);
  }

  TempDir folder_;
  std::string file_ = folder_ / "a.jpg";
  std::string body_;
};

TEST_P(HttpOutput, SendsAFileBetweenWhatComesBeforeAndAfter) {
  SetTime(file_);
  const Received received =
      GetParam().send([this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); });
  EXPECT_EQ(received.result, 0);
  EXPECT_TRUE(received.text == "Cache-Control: early\r\n" + HeadOf(file_) + body_ + "late")
      << received.text.substr(0, 400);
}

TEST_P(HttpOutput, SendsAnEmptyFile) {
  WriteFile(file_, "");
  SetTime(file_);
  const Received received =
      GetParam().send([this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); });
  EXPECT_EQ(received.result, 0);
  EXPECT_EQ(received.text, "Cache-Control: early\r\n" + HeadOf(file_) + "late");
}

TEST_P(HttpOutput, SendsAStreamBetweenWhatComesBeforeAndAfter) {
  const Received received = GetParam().send(
      [] { return HttpFileResponder().Output(Probe("flood", "300000"), "a b.jpg", "image/jpeg"); });
  EXPECT_EQ(received.result, 0);
  EXPECT_TRUE(received.text ==
              "Cache-Control: early\r\nContent-Type: image/jpeg\r\n"
              "Content-Disposition: inline; filename=\"a b.jpg\"\r\n\r\n" +
                  std::string(300'000, 'x') + "late")
      << received.text.substr(0, 400);
}

TEST_P(HttpOutput, WritesNothingForWhatCannotBeSent) {
  mkfifo((folder_ / "fifo").c_str(), 0600);
  const std::string missing = folder_ / "missing";
  const std::string fifo = folder_ / "fifo";
  const char* file = file_.c_str();
  const Respond refusals[] = {
      [&] { return HttpFileResponder().Output(missing.c_str(), "image/jpeg"); },
      [&] { return HttpFileResponder().Output(folder_.path().c_str(), "image/jpeg"); },
      [&] { return HttpFileResponder().Output(fifo.c_str(), "image/jpeg"); },
      [&] { return HttpFileResponder().Output("/dev/zero", "image/jpeg"); },
      [&] { return HttpFileResponder().Output(nullptr, "image/jpeg"); },
      [&] { return HttpFileResponder().Output(file, "image/jpeg\r\nSet-Cookie: a"); },
      [&] { return HttpFileResponder().Output(file, ""); },
      [&] { return HttpFileResponder().Output(file, nullptr); },
      [&] { return HttpFileResponder().Output(nullptr, "a.jpg", "image/jpeg"); },
      [&] { return HttpFileResponder().Output(Probe("exit", "0"), "a.jpg", "image/jpeg"); },
      [&] { return HttpFileResponder().Output(Probe("say", "x"), nullptr, "image/jpeg"); },
      [&] { return HttpFileResponder().Output(Probe("say", "x"), "a.jpg", "image/\njpeg"); },
  };
  for (const Respond& respond : refusals) {
    const Received received = GetParam().send(respond);
    EXPECT_NE(received.result, 0) << &respond - refusals;
    EXPECT_EQ(received.text, "Cache-Control: early\r\nlate") << &respond - refusals;
  }
}

INSTANTIATE_TEST_SUITE_P(
    , HttpOutput,
    testing::Values(
        Output{"File", [](const Respond& respond) { return ThroughFile(respond, "w"); }},
        Output{"AppendedFile", [](const Respond& respond) { return ThroughFile(respond, "a"); }},
        Output{"Pipe", ThroughPipe}, Output{"BusySocket", ThroughBusySocket},
        Output{"StreamWithoutDescriptor", ThroughStreamWithoutDescriptor}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(HttpResponse, OfAToolThatFailsIsAFailureAfterItsBytes) {
  const TempDir folder;
  const std::string script = "printf part; exit 3";
  const char* const argv[] = {"/bin/sh", "-c", script.c_str(), nullptr};
  const Received received = ThroughPipe([&argv] {
    return HttpFileResponder().Output(VLIBCPopenv("/bin/sh", "r", argv), "a.jpg", "image/jpeg");
  });
  EXPECT_EQ(received.result, 3);
  EXPECT_NE(received.text.find("\r\n\r\npartlate"), std::string::npos);
}

TEST(HttpResponse, OfAStreamClosesIt) {
  FILE* stream = Probe("say", "x");
  const int descriptor = fileno(stream);
  EXPECT_EQ(ThroughPipe([stream] {
              return HttpFileResponder().Output(stream, "a.jpg", "image/jpeg");
            }).result,
            0);
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST(HttpResponse, OfAFileThatShrinksMeanwhileFails) {
  const TempDir folder;
  WriteFile(folder / "a.jpg", std::string(4'000'000, 'x'));
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  std::thread client([&] {
    const UniqueFd end(ends[0]);
    char first[1000];
    EXPECT_GT(read(end.get(), first, sizeof(first)), 0);
    std::filesystem::resize_file(folder / "a.jpg", 10);
    Drain(end.get());
  });
  {
    const ScopedStdout output(fdopen(ends[1], "w"));
    EXPECT_NE(HttpFileResponder().Output((folder / "a.jpg").c_str(), "image/jpeg"), 0);
  }
  client.join();
}

struct Refusing {
  const char* name;
  std::function<int()> open;  // the descriptor of an output that takes nothing
};

class OutputThatTakesNothing : public testing::TestWithParam<Refusing> {
 protected:
  OutputThatTakesNothing() : handler_(signal(SIGPIPE, SIG_IGN)) {}
  ~OutputThatTakesNothing() override { signal(SIGPIPE, handler_); }

  sighandler_t handler_;
};

TEST_P(OutputThatTakesNothing, IsAFailure) {
  const TempDir folder;
  WriteFile(folder / "a.jpg", "body");
  const ScopedStdout output(fdopen(GetParam().open(), "w"));
  EXPECT_NE(HttpFileResponder().Output((folder / "a.jpg").c_str(), "image/jpeg"), 0);
  EXPECT_NE(HttpFileResponder().Output(Probe("say", "x"), "a.jpg", "image/jpeg"), 0);
}

INSTANTIATE_TEST_SUITE_P(
    , OutputThatTakesNothing,
    testing::Values(Refusing{"FullDisk", [] { return open("/dev/full", O_WRONLY | O_CLOEXEC); }},
                    Refusing{"GoneClient",
                             [] {
                               int ends[2] = {-1, -1};
                               EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
                               close(ends[0]);
                               return ends[1];
                             }}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace vexaplatform
