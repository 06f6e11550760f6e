#include "service/serve/metadata_cache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <mutex>

#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

constexpr char kJpeg[] = "\xff\xd8\xff\xe0 thumbnail";
constexpr int kTurned = 6;  // orientation

class MetadataCacheTest : public ServiceTest {
 protected:
  MetadataCacheTest() {
    WritePhoto(source_, {800, 600}, kTurned);
    machine_.clock_ahead = 60;  // the photograph is not new
  }

  void InspectAndRemember() const {
    const ThumbnailRequest request = ForLabel(source_, kSmall);
    struct stat before = {};
    ASSERT_EQ(stat(source_.c_str(), &before), 0);
    CacheMetadata(source_, before, Inspected(request));
  }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(MetadataCacheTest, KnowsNothingAtFirst) {
  EXPECT_FALSE(CachedMetadata(ForLabel(source_, kSmall)));
}

TEST_F(MetadataCacheTest, RecallsASourceForAnotherRequest) {
  InspectAndRemember();
  ThumbnailRequest request = ForBox(source_, 300, 200);
  request.turns = 2;
  request.avatar = true;
  const auto recalled = CachedMetadata(request);
  ASSERT_TRUE(recalled);
  const ThumbInfo inspected = Inspected(request);
  EXPECT_TRUE(recalled->info.IsGood());
  EXPECT_TRUE(recalled->info.GetCropMode());
  EXPECT_EQ(recalled->info.GetRotateSuffix(), inspected.GetRotateSuffix());
  EXPECT_EQ(recalled->info.GetDocdeckThumbEAName(), inspected.GetDocdeckThumbEAName());
  EXPECT_EQ(recalled->info.GetAvatarThumbEAName(), inspected.GetAvatarThumbEAName());
}

TEST_F(MetadataCacheTest, ForgetsASourceThatHasBeenWrittenAnew) {
  InspectAndRemember();
  ASSERT_TRUE(CachedMetadata(ForLabel(source_, kSmall)));
  WritePhoto(source_, {800, 600});  // which puts the former time of modification back
  EXPECT_FALSE(CachedMetadata(ForLabel(source_, kSmall)));
}

TEST_F(MetadataCacheTest, KnowsNothingOfASourceThatHasGone) {
  InspectAndRemember();
  std::filesystem::remove(source_);
  EXPECT_FALSE(CachedMetadata(ForLabel(source_, kSmall)));
}

class RepeatedRequestTest : public MetadataCacheTest {};

TEST_F(RepeatedRequestTest, FindsTheStoredThumbnailWithoutReadingTheSource) {
  WriteStored(source_, "VEXAFILE_THUMB_S_r1.jpg", kJpeg);
  const ThumbnailRequest request = ForLabel(source_, kSmall);
  const Thumbnail first = Obtain(request);
  ASSERT_EQ(first.outcome, Outcome::kPicture);

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
  ASSERT_EQ(Obtain(request).outcome, Outcome::kPicture);
  std::filesystem::remove(StorePath(source_, "VEXAFILE_THUMB_S_r1.jpg"));
  EXPECT_EQ(Obtain(request).outcome, Outcome::kNotStored);
}

}  // namespace
}  // namespace vexathumb::service
