#include "service/picture/source_version.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

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
  const SourceVersion version(source_, ThisSecond::kTakeAsIs);
  EXPECT_TRUE(version.IsCurrent());
  EXPECT_EQ(version.status().st_mtime, kSourceTime);
}

TEST_F(SourceVersionTest, AnotherSizeIsAnotherVersion) {
  const SourceVersion version(source_, ThisSecond::kTakeAsIs);
  std::ofstream(source_, std::ios::app) << "more";
  SetModificationTime(source_, kSourceTime);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, AnotherFractionOfTheSecondIsAnotherVersion) {
  const SourceVersion version(source_, ThisSecond::kTakeAsIs);
  const struct timespec times[] = {{kSourceTime, 0}, {kSourceTime, 1}};
  utimensat(AT_FDCWD, source_.c_str(), times, 0);
  EXPECT_FALSE(version.IsCurrent());
}

TEST_F(SourceVersionTest, ASourceThatHasGoneIsNotCurrent) {
  const SourceVersion version(source_, ThisSecond::kTakeAsIs);
  unlink(source_.c_str());
  EXPECT_FALSE(version.IsCurrent());
  EXPECT_THROW(SourceVersion(source_, ThisSecond::kTakeAsIs), std::system_error);
}

TEST_F(SourceVersionTest, ASecondThatIsNotOverIsWaitedFor) {
  kit::WriteFile(source_, "just written");
  const SourceVersion version(source_, ThisSecond::kWait);
  EXPECT_TRUE(version.IsCurrent());
  EXPECT_GT(time(nullptr), version.status().st_mtime);
}

}  // namespace
}  // namespace vexathumb::service
