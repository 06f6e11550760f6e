#include <gmock/gmock.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "unit/bindings/c/c_interface.h"

namespace vexathumb::c {
namespace {

size_t CountDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(open), end(open)));
}

TEST_F(CInterfaceTest, NothingStaysOpenAfterwards) {
  ASSERT_EQ(vexathumb_prepare(), VEXATHUMB_OK);
  ASSERT_NE(Obtain(RequestFor(photo_, "medium")), nullptr);
  const size_t before = CountDescriptors();
  ASSERT_NE(Obtain(RequestFor(photo_, "small")), nullptr);
  ASSERT_NE(Obtain(RequestFor(photo_, "medium")), nullptr);
  EXPECT_EQ(StatusOf(RequestFor(share_ / "missing.jpg", "medium")), VEXATHUMB_MISSING);
  EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(CInterfaceTest, AHostMayIgnoreItsChildren) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  const VexathumbStatus status = StatusOf(RequestFor(photo_, "medium"));
  signal(SIGCHLD, before);
  EXPECT_EQ(status, VEXATHUMB_OK);
}

TEST_F(CInterfaceTest, AForkOfTheHostIsAnswered) {
  ASSERT_NE(Obtain(RequestFor(photo_, "medium")), nullptr);
  const pid_t child = fork();
  if (child == 0) _exit(StatusOf(RequestFor(photo_, "small")));
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), VEXATHUMB_OK);
  EXPECT_EQ(StatusOf(RequestFor(photo_, "big")), VEXATHUMB_OK);
}

// What a fork frees, on its own or at its end, is its copy.
TEST_F(CInterfaceTest, AForkOfTheHostLeavesItsPicturesAlone) {
  Set("free_boxes = 0\n");
  Picture picture = Obtain(RequestForBox(photo_, 100, 100));
  ASSERT_NE(picture, nullptr);
  ASSERT_TRUE(vexathumb_picture_is_temporary(picture.get()));
  const std::string path = vexathumb_picture_path(picture.get());
  const pid_t child = fork();
  if (child == 0) {
    picture.reset();
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_TRUE(std::filesystem::exists(path));
  picture.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

// A profiler's, or a language's, whose handlers do not have calls go on.
class HostWithSignals : public CInterfaceTest {
 protected:
  HostWithSignals() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &before_);
    Every(1000);
  }
  ~HostWithSignals() override {
    Every(0);
    sigaction(SIGALRM, &before_, nullptr);
  }

 private:
  static void Every(int microseconds) {
    const itimerval interval = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
  }

  struct sigaction before_ = {};
};

TEST_F(HostWithSignals, IsAnsweredByTheRenderer) {
  for (const char* size : {"small", "medium", "big"}) {
    const Request request = RequestFor(photo_, size);
    const Picture picture = Obtain(request);
    ASSERT_NE(picture, nullptr) << vexathumb_request_error_message(request.get());
    EXPECT_EQ(vexathumb_picture_save(picture.get(), (elsewhere_ / "saved.jpg").c_str()),
              VEXATHUMB_OK);
  }
}

TEST_F(HostWithSignals, IsAnsweredByTheTools) {
  Set("engine = tools\n");
  for (const char* size : {"small", "medium", "big"}) {
    const Request request = RequestFor(photo_, size);
    EXPECT_EQ(StatusOf(request), VEXATHUMB_OK) << vexathumb_request_error_message(request.get());
  }
}

TEST_F(CInterfaceTest, WhatToolsComplainOfIsNotOnTheHostsStandardError) {
  Set("engine = tools\n");
  std::string jpeg = kit::ReadFile(photo_);
  const size_t frame_header = jpeg.find("\xff\xc0");
  jpeg.at(frame_header + 4) = 12;  // bits a sample, which decoders do not support
  kit::WriteFile(photo_, jpeg);
  kit::Age(photo_);
  testing::internal::CaptureStderr();
  const VexathumbStatus status = StatusOf(RequestFor(photo_, "small"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(status, VEXATHUMB_UNUSABLE);
}

TEST_F(CInterfaceTest, ARelativePathIsOfTheFolderOfItsMaking) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(share_.path());
  const Request request = RequestFor("a.jpg", "small");
  std::filesystem::current_path(before);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_OK);
}

}  // namespace
}  // namespace vexathumb::c
