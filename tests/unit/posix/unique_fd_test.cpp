#include "posix/unique_fd.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

namespace vexathumb::posix {
namespace {

int OpenNull() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) >= 0; }

TEST(UniqueFdTest, ClosesWhatItOwnsAndKeepsErrno) {
  const int fd = OpenNull();
  {
    const UniqueFd owner(fd);
    EXPECT_TRUE(owner);
    EXPECT_EQ(owner.get(), fd);
    errno = ENOTTY;
  }
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_FALSE(IsOpen(fd));
}

TEST(UniqueFdTest, OwnsNothingAtFirst) {
  UniqueFd none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.get(), -1);
  EXPECT_EQ(none.Close(), 0);
}

TEST(UniqueFdTest, MovingHandsOver) {
  const int fd = OpenNull();
  UniqueFd first(fd);
  UniqueFd second(std::move(first));
  EXPECT_EQ(second.get(), fd);
  UniqueFd third;
  third = std::move(second);
  EXPECT_EQ(third.get(), fd);
  EXPECT_TRUE(IsOpen(fd));
}

TEST(UniqueFdTest, AssigningClosesWhatWasOwnedBefore) {
  const int fd = OpenNull();
  UniqueFd owner(fd);
  owner = UniqueFd();
  EXPECT_FALSE(owner);
  EXPECT_FALSE(IsOpen(fd));
}

TEST(UniqueFdTest, WhatIsReleasedStaysOpen) {
  int fd = -1;
  {
    UniqueFd owner(OpenNull());
    fd = owner.Release();
    EXPECT_FALSE(owner);
  }
  EXPECT_TRUE(IsOpen(fd));
  close(fd);
}

TEST(UniqueFdTest, ClosingSaysWhatTheSystemSays) {
  UniqueFd open_one(OpenNull());
  EXPECT_EQ(open_one.Close(), 0);
  EXPECT_FALSE(open_one);
  constexpr int kNever = 1 << 20;
  UniqueFd closed_one(kNever);
  EXPECT_EQ(closed_one.Close(), -1);
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
}  // namespace vexathumb::posix
