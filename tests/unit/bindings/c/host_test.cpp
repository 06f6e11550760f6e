#include <gmock/gmock.h>
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
