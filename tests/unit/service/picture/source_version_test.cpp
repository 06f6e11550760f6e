#include "service/picture/source_version.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

class SourceVersionTest : public ServiceTest {
 protected:
  SourceVersionTest() {
    kit::WriteFile(source_, "a picture");
    SetModificationTime(source_, kSourceTime);
  }
  const std::string source_ = Picture("a.jpg");
};

TEST_F(SourceVersionTest, IsCurrentAsLongAsNobodyWritesTheSource) {
  const SourceVersion version(source_);
  EXPECT_TRUE(version.IsCurrent());
  EXPECT_EQ(version.status().st_mtime, kSourceTime);
}

TEST_F(SourceVersionTest, AnotherSizeIsAnotherVersion) {
  const SourceVersion version(source_);
  std::ofstream(source_, std::ios::app) << "more";
  SetModificationTime(source_, kSourceTime);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, AnotherFractionOfTheSecondIsAnotherVersion) {
  const SourceVersion version(source_);
  const struct timespec times[] = {{kSourceTime, 0}, {kSourceTime, 1}};
  utimensat(AT_FDCWD, source_.c_str(), times, 0);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, ASourceThatHasGoneIsNotCurrent) {
  const SourceVersion version(source_);
  unlink(source_.c_str());
  EXPECT_FALSE(version.IsCurrent());
  EXPECT_THROW(SourceVersion{source_}, std::system_error);
}

TEST_F(SourceVersionTest, AnotherFileInItsPlaceIsAnotherVersionWhateverItsTimes) {
  const SourceVersion version(source_);
  kit::WriteFile(Picture("b.jpg"), "b picture");
  SetModificationTime(Picture("b.jpg"), kSourceTime);
  std::filesystem::rename(Picture("b.jpg"), source_);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, OtherBytesUnderTheFormerTimeAreAnotherVersion) {
  const SourceVersion version(source_);
  kit::WriteFile(source_, "b picture");
  SetModificationTime(source_, kSourceTime);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, IsFreshForTwoSeconds) {
  EXPECT_FALSE(SourceVersion(source_).IsFresh());
  SetModificationTime(source_, time(nullptr) + 3600);  // by a clock that is ahead
  EXPECT_FALSE(SourceVersion(source_).IsFresh());
  kit::WriteFile(source_, "just written");
  const SourceVersion version(source_);
  EXPECT_TRUE(version.IsFresh());
  version.WaitWhileFresh();
  EXPECT_FALSE(version.IsFresh());
  EXPECT_TRUE(version.IsCurrent());
  EXPECT_GE(time(nullptr), version.status().st_mtime + 2);
}

}  // namespace
}  // namespace vexathumb::service
