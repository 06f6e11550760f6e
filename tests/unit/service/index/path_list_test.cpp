#include "service/index/path_list.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

namespace vexathumb::service {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PathListTest : public testing::Test {
 protected:
  PathListTest() {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    list_.emplace(ends_[0], '\n');
  }
  ~PathListTest() override { End(); }

  void Say(const std::string& text) const {
    ASSERT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void End() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  std::vector<std::string> Heard() {
    std::vector<std::string> paths;
    while (auto path = list_->Next()) paths.push_back(*path);
    return paths;
  }

  int ends_[2] = {-1, -1};
  std::optional<PathList> list_;
};

TEST_F(PathListTest, GivesWhatHasComeWithoutWaiting) {
  EXPECT_THAT(Heard(), IsEmpty());
  Say("/a\n/b");
  EXPECT_THAT(Heard(), ElementsAre("/a"));
  EXPECT_FALSE(list_->AtEnd());
  Say("c\n");
  EXPECT_THAT(Heard(), ElementsAre("/bc"));
  End();
  EXPECT_THAT(Heard(), IsEmpty());
  EXPECT_TRUE(list_->AtEnd());
}

TEST_F(PathListTest, TheLastOneNeedsNoSeparator) {
  Say("\n/a\n\n/b");
  End();
  EXPECT_THAT(Heard(), ElementsAre("/a", "/b"));
  EXPECT_TRUE(list_->AtEnd());
}

TEST_F(PathListTest, WhatNoPathCanBeIsPassedOver) {
  const std::string endless(5000, 'x');
  Say("/a\n" + endless + "\n/b\n");
  EXPECT_THAT(Heard(), ElementsAre("/a", "/b"));
}

TEST(PathListFile, AFolderIsNoList) {
  PathList list(open("/", O_RDONLY | O_CLOEXEC), '\n');
  EXPECT_FALSE(list.Next());
  EXPECT_TRUE(list.AtEnd());
  EXPECT_NE(list.error(), "");
}

}  // namespace
}  // namespace vexathumb::service
