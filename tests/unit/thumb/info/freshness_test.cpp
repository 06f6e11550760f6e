#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "common/error/error.h"
#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;
using testing::IsEmpty;

constexpr time_t kSourceAccess = 1600000000;
constexpr time_t kSourceModification = 1500000000;

void SetTimes(const std::string& path, timespec access, timespec modification) {
  const std::array<timespec, 2> times = {access, modification};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

ThumbInfo InfoOf(const std::string& path) { return {path, kSmall, {120, 120}}; }

class FreshnessTest : public testing::Test {
 protected:
  FreshnessTest() {
    kit::TakeLog();
    kit::WriteFile(source_, "source");
    kit::WriteFile(thumbnail_, "thumbnail");
    SetTimes(source_, {kSourceAccess, 0}, {kSourceModification, 0});
  }

  kit::TempDir dir_;
  const std::string source_ = dir_ / "source.jpg";
  const std::string thumbnail_ = dir_ / "thumbnail.jpg";
};

struct AgeCase {
  const char* name;
  time_t seconds_newer;
  long nanoseconds;
  bool current;
};

class UpToDateTest : public FreshnessTest, public testing::WithParamInterface<AgeCase> {};

TEST_P(UpToDateTest, MeansTheSameSecondAsTheSource) {
  const AgeCase& c = GetParam();
  SetTimes(thumbnail_, {1, 0}, {kSourceModification + c.seconds_newer, c.nanoseconds});
  EXPECT_EQ(InfoOf(source_).IsThumbUptoDate(thumbnail_), c.current);
}

INSTANTIATE_TEST_SUITE_P(Ages, UpToDateTest,
                         testing::Values(AgeCase{"Same", 0, 0, true},
                                         AgeCase{"SameSecond", 0, 999999999, true},
                                         AgeCase{"OneSecondNewer", 1, 0, false},
                                         AgeCase{"OneSecondOlder", -1, 0, false},
                                         AgeCase{"JustOlder", -1, 999999999, false}),
                         CaseName());

TEST_F(FreshnessTest, MissingThumbnailIsNotUpToDate) {
  EXPECT_FALSE(InfoOf(source_).IsThumbUptoDate(dir_ / "missing.jpg"));
}

TEST_F(FreshnessTest, ThumbnailIsComparedWithTheSourceAsItWasAtFirst) {
  const ThumbInfo info = InfoOf(source_);
  SetTimes(source_, {2, 0}, {2, 0});
  SetTimes(thumbnail_, {1, 0}, {kSourceModification, 0});
  EXPECT_TRUE(info.IsThumbUptoDate(thumbnail_));
}

TEST_F(FreshnessTest, UpdateGivesTheSourcesTimesInWholeSeconds) {
  SetTimes(source_, {kSourceAccess, 123}, {kSourceModification, 456});
  const ThumbInfo info = InfoOf(source_);
  info.UpdateAMTime(thumbnail_);
  struct stat st = {};
  ASSERT_EQ(stat(thumbnail_.c_str(), &st), 0);
  EXPECT_EQ(st.st_atim.tv_sec, kSourceAccess);
  EXPECT_EQ(st.st_atim.tv_nsec, 0);
  EXPECT_EQ(st.st_mtim.tv_sec, kSourceModification);
  EXPECT_EQ(st.st_mtim.tv_nsec, 0);
  EXPECT_TRUE(info.IsThumbUptoDate(thumbnail_));
}

TEST_F(FreshnessTest, UpdateOfAMissingFileIsSilent) {
  InfoOf(source_).UpdateAMTime(dir_ / "missing.jpg");
  EXPECT_FALSE(std::filesystem::exists(dir_ / "missing.jpg"));
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

struct FileSizeCase {
  const char* name;
  uint64_t bytes;
  uint32_t reported;
};

class FileSizeTest : public FreshnessTest, public testing::WithParamInterface<FileSizeCase> {};

TEST_P(FileSizeTest, IsTheLow32Bits) {
  std::filesystem::resize_file(source_, GetParam().bytes);  // sparse
  EXPECT_EQ(InfoOf(source_).GetFileSize(), GetParam().reported);
}

constexpr uint64_t kGiB = 1024ULL * 1024 * 1024;

INSTANTIATE_TEST_SUITE_P(
    Files, FileSizeTest,
    testing::Values(FileSizeCase{"Empty", 0, 0}, FileSizeCase{"Small", 4711, 4711},
                    FileSizeCase{"JustBelow4GiB", 4 * kGiB - 1, 0xFFFFFFFF},
                    FileSizeCase{"FourGiB", 4 * kGiB, 0},
                    FileSizeCase{"FiveGiB", 5 * kGiB, static_cast<uint32_t>(kGiB)}),
    CaseName());

TEST_F(FreshnessTest, MissingSourceIsRefused) {
  const std::string path = dir_ / "missing.jpg";
  try {
    InfoOf(path);
    FAIL() << "no exception";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), Error::kInternalError);
    EXPECT_EQ(error.msg_, "Can't stat " + path);
    EXPECT_EQ(std::string(error.what()), "(E601) Can't stat " + path);
  }
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(FreshnessTest, EmptyPathIsRefused) { EXPECT_THROW(InfoOf(""), Error); }

TEST_F(FreshnessTest, LinkIsFollowed) {
  std::filesystem::create_symlink(source_, dir_ / "link.jpg");
  EXPECT_EQ(InfoOf(dir_ / "link.jpg").GetFileSize(), 6U);
}

TEST_F(FreshnessTest, DanglingLinkIsRefused) {
  std::filesystem::create_symlink(dir_ / "missing", dir_ / "link.jpg");
  EXPECT_THROW(InfoOf(dir_ / "link.jpg"), Error);
}

TEST_F(FreshnessTest, AnyKindOfFileIsASource) {
  kit::WriteFifo(dir_ / "fifo");
  kit::WriteSocket(dir_ / "socket");
  EXPECT_NO_THROW(InfoOf(dir_ / "fifo"));
  EXPECT_NO_THROW(InfoOf(dir_ / "socket"));
  EXPECT_NO_THROW(InfoOf(dir_.path()));
  EXPECT_NO_THROW(InfoOf("/dev/null"));
}

}  // namespace
}  // namespace vexathumb
