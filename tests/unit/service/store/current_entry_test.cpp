#include "service/store/current_entry.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "service/base/atomic_file.h"
#include "service/store/store_files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;

constexpr char kEntry[] = "VEXAFILE_THUMB_S.jpg";
constexpr time_t kYear1800 = -5364662400;
constexpr time_t kYear3000 = 32503680000;

class CurrentEntryTest : public ServiceTest {
 protected:
  CurrentEntryTest() { WritePhoto(source_, {40, 30}); }

  // As a build leaves it.
  void StoreThumbnail() const {
    ASSERT_TRUE(IsStoreWritable(source_));
    AtomicFile file(stored());
    kit::WriteFile(file.path(), kJpeg);
    ASSERT_TRUE(file.Commit(StoredAttributes(StatusOf(source_))));
  }

  bool IsCurrent() const { return IsCurrentEntry(stored(), StatusOf(source_)); }
  std::string stored() const { return StorePath(source_, kEntry); }

  static constexpr char kJpeg[] = "\xff\xd8\xff a picture, as far as anyone looks";
  const std::string source_ = Picture("a.jpg");
};

TEST_F(CurrentEntryTest, WhatABuildHasStoredIsCurrent) {
  EXPECT_FALSE(IsCurrent());
  StoreThumbnail();
  EXPECT_TRUE(IsCurrent());
}

TEST_F(CurrentEntryTest, WhatAnotherProgramHasStoredIsCurrentByItsSecondAlone) {
  WriteStored(source_, kEntry, kJpeg);
  EXPECT_TRUE(IsCurrent());
  WriteStored(source_, kEntry, kJpeg, kSourceTime + 1);
  EXPECT_FALSE(IsCurrent());
}

struct SourceCase {
  const char* name;
  void (*change)(const std::string& source, const std::string& other);
  bool is_current;
};

void PrintTo(const SourceCase& source, std::ostream* out) { *out << source.name; }

class EntryOfChangedSourceTest : public CurrentEntryTest,
                                 public testing::WithParamInterface<SourceCase> {};

TEST_P(EntryOfChangedSourceTest, IsToldFromTheFormerOne) {
  StoreThumbnail();
  WritePhoto(Picture("b.jpg"), {40, 30});
  GetParam().change(source_, Picture("b.jpg"));
  EXPECT_EQ(IsCurrent(), GetParam().is_current);
}

void SetTime(const std::string& path, time_t seconds, long nanoseconds) {
  const struct timespec times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, EntryOfChangedSourceTest,
    testing::Values(
        SourceCase{"another_second",
                   [](const auto& source, const auto&) { SetTime(source, kSourceTime + 1, 0); },
                   false},
        SourceCase{"another_nanosecond",
                   [](const auto& source, const auto&) { SetTime(source, kSourceTime, 1); }, false},
        SourceCase{"another_size_in_the_same_second",
                   [](const auto& source, const auto&) {
                     kit::WriteFile(source, kit::ReadFile(source) + "more");
                     SetTime(source, kSourceTime, 0);
                   },
                   false},
        SourceCase{"another_picture_of_the_same_second_and_size_renamed_over_it",
                   [](const auto& source, const auto& other) {
                     ASSERT_EQ(std::filesystem::file_size(source),
                               std::filesystem::file_size(other));
                     std::filesystem::rename(other, source);
                   },
                   false},
        SourceCase{"other_rights",
                   [](const auto& source, const auto&) { chmod(source.c_str(), 0600); }, true},
        SourceCase{"a_hard_link_more",
                   [](const auto& source, const auto& other) {
                     std::filesystem::create_hard_link(source, other + ".link");
                   },
                   true}),
    CaseName());

TEST_F(CurrentEntryTest, AMovedSourceOfAFractionOfASecondKeepsItsThumbnails) {
  SetTime(source_, kSourceTime, 123456789);
  StoreThumbnail();
  // As from another disk: another inode with the same times.
  std::filesystem::copy_file(source_, source_ + ".copy");
  std::filesystem::rename(source_ + ".copy", source_);
  SetTime(source_, kSourceTime, 123456789);
  EXPECT_TRUE(IsCurrent());
}

struct ContentCase {
  const char* name;
  std::string content;
  bool is_current;
};

void PrintTo(const ContentCase& content, std::ostream* out) { *out << content.name; }

class StoredContentTest : public CurrentEntryTest,
                          public testing::WithParamInterface<ContentCase> {};

// As after a loss of power: the name and the time are there, and the content is not.
TEST_P(StoredContentTest, CountsOnlyAsAPicture) {
  StoreThumbnail();
  usleep(20'000);  // a thumbnail is trusted that nobody has touched since it was put there
  kit::WriteFile(stored(), GetParam().content);
  SetModificationTime(stored(), kSourceTime);
  EXPECT_EQ(IsCurrent(), GetParam().is_current);
}

INSTANTIATE_TEST_SUITE_P(Contents, StoredContentTest,
                         testing::Values(ContentCase{"none", "", false},
                                         ContentCase{"zeros", std::string(41, 0), false},
                                         ContentCase{"text", "This is no picture.", false},
                                         ContentCase{"jpeg", "\xff\xd8\xff and more", true},
                                         ContentCase{"png", "\x89PNG\r\n\x1a\n and more", true}),
                         CaseName());

class TimeBeyondTheStoreTest : public CurrentEntryTest,
                               public testing::WithParamInterface<time_t> {};

// The store keeps another time than the source's, the nearest that it can hold.
TEST_P(TimeBeyondTheStoreTest, IsNoReasonToBuildAgain) {
  struct stat source = StatusOf(source_);
  source.st_mtim = {GetParam(), 0};
  ASSERT_TRUE(IsStoreWritable(source_));
  AtomicFile file(stored());
  kit::WriteFile(file.path(), kJpeg);
  ASSERT_TRUE(file.Commit(StoredAttributes(source)));
  SetModificationTime(stored(), GetParam() < 0 ? INT32_MIN : INT32_MAX);
  EXPECT_TRUE(IsCurrentEntry(stored(), source));
  ++source.st_mtim.tv_sec;
  EXPECT_FALSE(IsCurrentEntry(stored(), source));
}

INSTANTIATE_TEST_SUITE_P(Years, TimeBeyondTheStoreTest, testing::Values(kYear1800, kYear3000));

}  // namespace
}  // namespace vexathumb::service
