#include "service/inspection_memory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <mutex>

#include "kit/case_name.h"
#include "kit/files.h"
#include "service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;

constexpr char kJpeg[] = "\xff\xd8\xff\xe0 thumbnail";
constexpr int kTurned = 6;  // orientation

class InspectionMemoryTest : public ServiceTest {
 protected:
  InspectionMemoryTest() {
    WritePhoto(source_, {800, 600}, kTurned);
    machine_.clock_ahead = 60;  // the photograph is not new
  }

  void InspectAndRemember() const {
    const ThumbnailRequest request = ForLabel(source_, kSmall);
    struct stat before = {};
    ASSERT_EQ(stat(source_.c_str(), &before), 0);
    RememberInspection(source_, before, Inspected(request));
  }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(InspectionMemoryTest, KnowsNothingAtFirst) {
  EXPECT_FALSE(RecallInspection(ForLabel(source_, kSmall)));
}

TEST_F(InspectionMemoryTest, RecallsASourceForAnotherRequest) {
  InspectAndRemember();
  ThumbnailRequest request = ForBox(source_, 300, 200);
  request.turns = 2;
  request.avatar = true;
  const auto recalled = RecallInspection(request);
  ASSERT_TRUE(recalled);
  const ThumbInfo inspected = Inspected(request);
  EXPECT_TRUE(recalled->IsGood());
  EXPECT_TRUE(recalled->GetCropMode());
  EXPECT_EQ(recalled->GetRotateSuffix(), inspected.GetRotateSuffix());
  EXPECT_EQ(recalled->GetDocdeckThumbEAName(), inspected.GetDocdeckThumbEAName());
  EXPECT_EQ(recalled->GetAvatarThumbEAName(), inspected.GetAvatarThumbEAName());
}

TEST_F(InspectionMemoryTest, DoesNotTakeUpASourceThatHasJustChanged) {
  machine_.clock_ahead = 0;
  InspectAndRemember();
  EXPECT_FALSE(RecallInspection(ForLabel(source_, kSmall)));
}

TEST_F(InspectionMemoryTest, StaysBounded) {
  constexpr int kMore = 3000;
  struct stat before = {};
  ASSERT_EQ(stat(source_.c_str(), &before), 0);
  const ThumbInfo info = Inspected(ForLabel(source_, kSmall));
  int recalled = 0;
  for (int i = 0; i < kMore; ++i) {
    const std::string link = Picture("link-" + std::to_string(i) + ".jpg");
    std::filesystem::create_symlink(source_, link);
    RememberInspection(link, before, info);
  }
  for (int i = 0; i < kMore; ++i) {
    const std::string link = Picture("link-" + std::to_string(i) + ".jpg");
    if (RecallInspection(ForLabel(link, kSmall))) ++recalled;
  }
  EXPECT_GT(recalled, 0);
  EXPECT_LE(recalled, 1024);
}

struct ChangeCase {
  const char* name;
  std::function<void(const std::string& source)> make;
};

class ChangedSinceInspectionTest : public InspectionMemoryTest,
                                   public testing::WithParamInterface<ChangeCase> {};

TEST_P(ChangedSinceInspectionTest, IsForgotten) {
  InspectAndRemember();
  ASSERT_TRUE(RecallInspection(ForLabel(source_, kSmall)));
  GetParam().make(source_);
  EXPECT_FALSE(RecallInspection(ForLabel(source_, kSmall)));
}

// WritePhoto puts the former time of modification back.
INSTANTIATE_TEST_SUITE_P(
    AfterItIs, ChangedSinceInspectionTest,
    testing::Values(
        ChangeCase{"WrittenAnew",
                   [](const auto& source) {
                     WritePhoto(source, {800, 600});
                   }},
        ChangeCase{"Replaced",
                   [](const auto& source) {
                     WritePhoto(source + ".new", {800, 600});
                     std::filesystem::rename(source + ".new", source);
                   }},
        ChangeCase{"GivenAnotherTime",
                   [](const auto& source) { SetModificationTime(source, kSourceTime + 1); }},
        ChangeCase{"Deleted", [](const auto& source) { std::filesystem::remove(source); }}),
    CaseName());

class RepeatedRequestTest : public InspectionMemoryTest {};

TEST_F(RepeatedRequestTest, FindsTheStoredThumbnailWithoutReadingTheSource) {
  WriteStored(source_, "VEXAFILE_THUMB_S_r1.jpg", kJpeg);
  const ThumbnailRequest request = ForLabel(source_, kSmall);
  const Thumbnail first = Obtain(request);
  ASSERT_EQ(first.outcome, Obtained::kPicture);

  std::unique_lock<std::mutex> nobody_reads_metadata(ThumbInfo::exiv2_mutex_);
  auto second = std::async(std::launch::async, [&] { return Obtain(request); });
  EXPECT_EQ(second.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  nobody_reads_metadata.unlock();
  EXPECT_EQ(second.get().path, first.path);
}

TEST_F(RepeatedRequestTest, SeesThatTheSourceHasBeenTurned) {
  WriteStored(source_, "VEXAFILE_THUMB_S_r1.jpg", kJpeg);
  WriteStored(source_, "VEXAFILE_THUMB_S.jpg", kJpeg);
  const ThumbnailRequest request = ForLabel(source_, kSmall);
  EXPECT_EQ(Obtain(request).path, StorePath(source_, "VEXAFILE_THUMB_S_r1.jpg"));
  WritePhoto(source_, {800, 600});
  EXPECT_EQ(Obtain(request).path, StorePath(source_, "VEXAFILE_THUMB_S.jpg"));
}

TEST_F(RepeatedRequestTest, SeesThatTheThumbnailHasGone) {
  WriteStored(source_, "VEXAFILE_THUMB_S_r1.jpg", kJpeg);
  ThumbnailRequest request = ForLabel(source_, kSmall);
  request.only_stored = true;
  ASSERT_EQ(Obtain(request).outcome, Obtained::kPicture);
  std::filesystem::remove(StorePath(source_, "VEXAFILE_THUMB_S_r1.jpg"));
  EXPECT_EQ(Obtain(request).outcome, Obtained::kNotStored);
}

}  // namespace
}  // namespace vexathumb::service
