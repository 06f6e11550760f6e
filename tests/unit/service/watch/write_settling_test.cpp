#include "service/watch/write_settling.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/temp_dir.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class SettlingTest : public testing::Test {
 protected:
  SettlingTest() { kit::WriteFile(path_, "x"); }

  kit::TempDir dir_;
  const std::string path_ = dir_ / "a.jpg";
  WriteSettling settling_{seconds(2)};
  const WriteSettling::Clock::time_point start_ = WriteSettling::Clock::now();
};

TEST_F(SettlingTest, AFileSettlesAfterAWhile) {
  settling_.Touch(path_, start_);
  EXPECT_FALSE(settling_.Take(start_ + milliseconds(1999)));
  EXPECT_EQ(settling_.Take(start_ + seconds(2)), path_);
  EXPECT_FALSE(settling_.Take(start_ + seconds(9))) << "once";
  EXPECT_FALSE(settling_.Has(path_));
}

TEST_F(SettlingTest, WhatIsHeardOfItBeginsTheWhileAnew) {
  settling_.Touch(path_, start_);
  settling_.Touch(path_, start_ + seconds(1));
  EXPECT_FALSE(settling_.Take(start_ + milliseconds(2999)));
  EXPECT_EQ(settling_.Take(start_ + seconds(3)), path_);
}

TEST_F(SettlingTest, AFileThatGrowsUnheardHasNotSettled) {
  settling_.Touch(path_, start_);
  kit::WriteFile(path_, "xx");
  EXPECT_FALSE(settling_.Take(start_ + seconds(2)));
  EXPECT_EQ(settling_.Take(start_ + seconds(4)), path_);
}

TEST_F(SettlingTest, AnotherTimeCountsAsAChange) {
  settling_.Touch(path_, start_);
  SetModificationTime(path_, kSourceTime);
  EXPECT_FALSE(settling_.Take(start_ + seconds(2)));
  EXPECT_EQ(settling_.Take(start_ + seconds(4)), path_);
}

TEST_F(SettlingTest, AFileThatVanishesIsForgotten) {
  settling_.Touch(path_, start_);
  std::filesystem::remove(path_);
  EXPECT_FALSE(settling_.Take(start_ + seconds(2)));
  EXPECT_FALSE(settling_.Has(path_));
}

TEST_F(SettlingTest, WhatIsNoFileNeverSettles) {
  std::filesystem::create_symlink(path_, dir_ / "link.jpg");
  settling_.Touch(dir_ / "link.jpg", start_);
  settling_.Touch(dir_.path(), start_);
  settling_.Touch(dir_ / "none.jpg", start_);
  EXPECT_FALSE(settling_.Has(path_));
}

TEST_F(SettlingTest, TheOneThatWasLeftAloneLongestComesFirst) {
  kit::WriteFile(dir_ / "b.jpg", "x");
  settling_.Touch(path_, start_);
  settling_.Touch(dir_ / "b.jpg", start_);
  settling_.Touch(path_, start_ + seconds(1));
  EXPECT_EQ(settling_.Take(start_ + seconds(9)), dir_ / "b.jpg");
  EXPECT_EQ(settling_.Take(start_ + seconds(9)), path_);
}

}  // namespace
}  // namespace vexathumb::service
