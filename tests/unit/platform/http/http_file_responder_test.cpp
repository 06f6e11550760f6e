#include "http/http_file_responder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/http/entity_tag.h"
#include "platform/http/http_date.h"
#include "posix/unique_fd.h"
#include "unit/platform/http/http_exchange.h"
#include "vexaplatform/expected_file.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

constexpr char kProbe[] = PROBE_CHILD;

FILE* Probe(const char* action, const std::string& value) {
  const char* const argv[] = {kProbe, action, value.c_str(), nullptr};
  return VLIBCPopenv(kProbe, "r", argv);
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
           "\r\nAccept-Ranges: bytes\r\nContent-Disposition: inline; filename=\"a.jpg\"\r\n"
           "X-Content-Type-Options: nosniff\r\n\r\n";
  }

  void SetTime(const std::string& file) {
    const struct timespec times[] = {{0, 0}, {1'700'000'000, 0}};
    utimensat(AT_FDCWD, file.c_str(), times, 0);
  }

  TempDir folder_;
  std::string file_ = folder_ / "a.jpg";
  std::string body_;
};

TEST_P(HttpOutput, SendsTheExpectedFileOrNothing) {
  struct stat found {};
  ASSERT_EQ(stat(file_.c_str(), &found), 0);
  const ExpectedFile expected(file_, found);
  const auto send = [this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); };
  EXPECT_EQ(GetParam().send(send).result, 0);
  WriteFile(file_ + ".other", body_);
  std::filesystem::rename(file_ + ".other", file_);
  const Received received = GetParam().send(send);
  EXPECT_EQ(received.result, -1);
  EXPECT_EQ(received.text.find("Content-Type"), std::string::npos);
}

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
              "Content-Disposition: inline; filename=\"a b.jpg\"\r\n"
              "X-Content-Type-Options: nosniff\r\n\r\n" +
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
    vexathumb::kit::CaseName());

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

TEST(HttpResponse, OfAFileThatGrowsMeanwhileHasTheLengthItSays) {
  const TempDir folder;
  WriteFile(folder / "a.jpg", std::string(4'000'000, 'x'));
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  std::string response(1000, '\0');
  std::thread client([&] {
    const UniqueFd end(ends[0]);
    const ssize_t first = read(end.get(), response.data(), response.size());
    response.resize(first > 0 ? static_cast<size_t>(first) : 0);
    std::filesystem::resize_file(folder / "a.jpg", 5'000'000);
    response += Drain(end.get());
  });
  {
    const ScopedStdout output(fdopen(ends[1], "w"));
    EXPECT_EQ(HttpFileResponder().Output((folder / "a.jpg").c_str(), "image/jpeg"), 0);
  }
  client.join();
  EXPECT_EQ(HeaderOf(response, "Content-Length"), "4000000");
  EXPECT_TRUE(BodyOf(response) == std::string(4'000'000, 'x'));
}

TEST(HttpResponse, HasAnotherEntityTagAfterEachRewriteInPlaceWithTheTimeSetBack) {
  const TempDir folder;
  const std::string file = folder / "a.jpg";
  std::set<std::string> tags;
  for (int i = 0; i < 30; ++i) {
    WriteFile(file, std::to_string(100 + i));
    const struct timespec times[] = {{0, 0}, {1'700'000'000, 0}};
    utimensat(AT_FDCWD, file.c_str(), times, 0);
    const Received received = ThroughStreamWithoutDescriptor(
        [&file] { return HttpFileResponder().Output(file.c_str(), "image/jpeg"); });
    EXPECT_EQ(BodyOf(received.text), std::to_string(100 + i) + "late");
    EXPECT_TRUE(tags.insert(HeaderOf(received.text, "ETag")).second) << i;
  }
}

TEST(HttpResponse, SaysThatAFileFromTheFutureIsOfNow) {
  const TempDir folder;
  const std::string file = folder / "a.jpg";
  WriteFile(file, "body");
  const struct timespec times[] = {{0, 0}, {4'102'444'800, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  const time_t before = time(nullptr);
  const Received received =
      ThroughPipe([&file] { return HttpFileResponder().Output(file.c_str(), "image/jpeg"); });
  const std::optional<time_t> said =
      ParseHttpDate(HeaderOf(received.text, "Last-Modified"), before);
  ASSERT_TRUE(said.has_value());
  EXPECT_GE(*said, before);
  EXPECT_LE(*said, time(nullptr));
}

}  // namespace
}  // namespace vexaplatform
