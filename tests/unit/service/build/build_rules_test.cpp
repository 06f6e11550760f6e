#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "common/util/util.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/build/thumbnail_builder.h"
#include "service/picture/content_type.h"
#include "service/store/free_boxes.h"
#include "service/store/store_files.h"
#include "service/store/store_names.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr char kMediumEntry[] = "VEXAFILE_THUMB_M.jpg";

class BuildRulesTest : public ServiceTest {
 protected:
  ~BuildRulesTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()); }

  // As a program that uses the library alone leaves it.
  void BuildWithLibraryAlone() const {
    Thumb thumb(source_, Thumb::ALL_EA);
    thumb.CalcOutputFile(kOriginal);
    ASSERT_EQ(thumb.Convert({kMedium}), 1);
  }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(BuildRulesTest, ASourceThatServesAsItIsIsThePicture) {
  WritePhoto(source_, {300, 200});
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, source_);
  EXPECT_NE(picture->owner, Owner::kCaller);
  EXPECT_EQ(machine_.Runs(), 0);
}

TEST_F(BuildRulesTest, WhatIsNoPictureGivesNothing) {
  WriteText(source_);
  EXPECT_FALSE(Build(ForLabel(source_, kMedium)));
}

TEST_F(BuildRulesTest, ADamagedPictureGivesNothingAndLeavesNoThumbnail) {
  WriteUndecodable(source_);
  EXPECT_FALSE(Build(ForLabel(source_, kMedium)));
  EXPECT_EQ(machine_.Runs("djpeg"), 1);
  EXPECT_EQ(machine_.Runs("convert"), 1);
  EXPECT_FALSE(std::filesystem::exists(StorePath(source_, kMediumEntry)));
}

TEST_F(BuildRulesTest, AnAnimationStaysOneOnDemand) {
  const std::string gif = Picture("a.gif");
  kit::WriteAnimatedGif(gif, {800, 600}, 3);
  ThumbnailRequest request = ForLabel(gif, kMedium);
  request.animated_gif = true;
  const auto picture = Build(request);
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(gif, "VEXAFILE_THUMB_M.gif"));
  EXPECT_EQ(picture->mime, "image/gif");
  EXPECT_EQ(kit::Examine(picture->path).frames, 3);
}

TEST_F(BuildRulesTest, AThumbnailThatIsThereByNowIsNotBuiltAgain) {
  WritePhoto(source_, {800, 600});
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  const int runs = machine_.Runs();
  ThumbnailRequest request = ForLabel(source_, kMedium);
  request.docdeck = false;  // the place it is built to is not one that is asked for
  EXPECT_TRUE(Build(request));
  EXPECT_EQ(machine_.Runs(), runs);
}

TEST_F(BuildRulesTest, AStaleThumbnailIsBuiltAgain) {
  WritePhoto(source_, {800, 600});
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  SetModificationTime(source_, kSourceTime + 1);
  const int runs = machine_.Runs();
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  EXPECT_GT(machine_.Runs(), runs);
  EXPECT_EQ(ModificationTimeOf(StorePath(source_, kMediumEntry)), kSourceTime + 1);
}

TEST_F(BuildRulesTest, BmpDataOfTheLibraryAreOnlyCompacted) {
  WritePhoto(source_, {800, 600});
  BuildWithLibraryAlone();
  ASSERT_EQ(ContentTypeOf(StorePath(source_, kMediumEntry)), kBmpType);
  const int runs = machine_.Runs();
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->mime, "image/jpeg");
  EXPECT_EQ(ContentTypeOf(picture->path), kJpegType);
  EXPECT_EQ(machine_.Runs(), runs + 1);
  EXPECT_EQ(machine_.Runs("cjpeg"), 1);
}

TEST_F(BuildRulesTest, AnotherToolEncodesWhereTheCompactorFails) {
  WritePhoto(source_, {800, 600});
  machine_.Break("cjpeg", ToolFault::kMissing);
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(ContentTypeOf(picture->path), kJpegType);
  EXPECT_NE(picture->owner, Owner::kCaller);
}

TEST_F(BuildRulesTest, AnotherToolDecodesWhereTheFastOneFails) {
  WritePhoto(source_, {800, 600});
  machine_.Break("djpeg", ToolFault::kFails);
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(source_, kMediumEntry));
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
}

// The decoded picture of 400 by 300 pixels is far larger than this source of few bytes.
TEST_F(BuildRulesTest, WithoutCompactionALargeResultIsThrownAwayUnderItsOwnName) {
  WritePhoto(source_, {800, 600});
  options_.build.compaction = false;
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kCaller);
  EXPECT_EQ(picture->mime, "image/bmp");
  EXPECT_EQ(ContentTypeOf(picture->path), kBmpType);
  EXPECT_EQ(file::Dirname(picture->path), StoreDirectoryOf(source_));
  EXPECT_THAT(Stored(source_), Not(Contains(kMediumEntry)));
  EXPECT_THAT(Stored(source_), SizeIs(1));
}

// With a megabyte behind it the same source outweighs its decoded thumbnail.
TEST_F(BuildRulesTest, WithoutCompactionASmallResultStays) {
  WritePhoto(source_, {800, 600});
  kit::WriteFile(source_, kit::ReadFile(source_) + std::string(1 << 20, '\0'));
  SetModificationTime(source_, kSourceTime);
  options_.build.compaction = false;
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_NE(picture->owner, Owner::kCaller);
  EXPECT_EQ(picture->mime, "image/bmp");
  EXPECT_THAT(Stored(source_), ElementsAre(kMediumEntry));
}

TEST_F(BuildRulesTest, ATurnedResultIsNoBmpDataAndStaysWithoutCompactionToo) {
  WritePhoto(source_, {800, 600}, 6);
  options_.build.compaction = false;
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_NE(picture->owner, Owner::kCaller);
  EXPECT_EQ(picture->mime, "image/jpeg");
}

TEST_F(BuildRulesTest, NothingIsStoredOfASourceThatChangesMeanwhile) {
  WritePhoto(source_, {800, 600});
  machine_.on_run = [&](const std::string& /*program*/, const auto& /*argv*/) {
    SetModificationTime(source_, kSourceTime + 100);
    return ToolFault::kNone;
  };
  EXPECT_FALSE(Build(ForLabel(source_, kMedium)));
  EXPECT_THAT(Stored(source_), IsEmpty());
}

TEST_F(BuildRulesTest, OtherStoredThumbnailsKeepTheirTime) {
  WritePhoto(source_, {800, 600});
  WriteStored(source_, "VEXAFILE_THUMB_S.jpg", "other", 42);
  WriteStored(source_, "VEXAPHOTO_THUMB_M.jpg", "other", 43);
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  EXPECT_EQ(ModificationTimeOf(StorePath(source_, "VEXAFILE_THUMB_S.jpg")), 42);
  EXPECT_EQ(ModificationTimeOf(StorePath(source_, "VEXAPHOTO_THUMB_M.jpg")), 43);
}

TEST_F(BuildRulesTest, LeftoversInTheStoreAreSwept) {
  WritePhoto(source_, {800, 600});
  WriteStored(source_, "VEXAFILETMP_THUMB_r2.jpg", "of a killed process");
  machine_.folder_clock_ahead = 2 * 60 * 60;
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  EXPECT_THAT(Stored(source_), ElementsAre(kMediumEntry));
}

struct BoxCase {
  const char* name;
  ThumbnailRequest (*request)(const std::string& source);
  bool counts;
};

class FreeBoxLimitTest : public BuildRulesTest, public testing::WithParamInterface<BoxCase> {
 protected:
  FreeBoxLimitTest() { WritePhoto(source_, {800, 600}); }

  // "1x1", "2x1" and so on, each used later than the one before.
  void StoreBoxes(int count) const {
    struct timespec last = {};
    for (int i = 1; i <= count; ++i) {
      const std::string path = StorePath(source_, BoxNamed(i));
      WriteStored(source_, BoxNamed(i), "box");
      const auto is_later = [&] {
        const struct timespec now = StatusOf(path).st_ctim;
        return std::pair(now.tv_sec, now.tv_nsec) > std::pair(last.tv_sec, last.tv_nsec);
      };
      while (!is_later()) chmod(path.c_str(), 0600);
      last = StatusOf(path).st_ctim;
    }
  }

  static std::string BoxNamed(int number) {
    return "VEXAFILE_THUMB_" + std::to_string(number) + "x1.jpg";
  }

  bool IsThere(int number) const {
    return std::filesystem::exists(StorePath(source_, BoxNamed(number)));
  }

  int Boxes() const {
    const auto names = Stored(source_);
    return static_cast<int>(std::count_if(names.begin(), names.end(), IsFreeBox));
  }
};

TEST_P(FreeBoxLimitTest, SixteenAreStored) {
  StoreBoxes(15);
  const auto picture = Build(GetParam().request(source_));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kStore);
  EXPECT_TRUE(std::filesystem::exists(picture->path));
  EXPECT_EQ(Boxes(), GetParam().counts ? 16 : 15);
}

// Whoever asks for any number of them shuts nobody out.
TEST_P(FreeBoxLimitTest, TheSeventeenthTakesThePlaceOfTheOneUsedLongestAgo) {
  StoreBoxes(16);
  const auto picture = Build(GetParam().request(source_));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kStore);
  EXPECT_EQ(kit::Examine(picture->path).format, "JPEG");
  EXPECT_THAT(kit::ReadFile(picture->path), Not(HasSubstr("box")));
  EXPECT_EQ(Boxes(), 16);
  EXPECT_EQ(IsThere(1), !GetParam().counts);
  EXPECT_TRUE(IsThere(2));
}

TEST_P(FreeBoxLimitTest, OneThatIsUsedStays) {
  StoreBoxes(16);
  machine_.clock_ahead = 2 * 24 * 3600;
  NoteFreeBoxUse(StorePath(source_, BoxNamed(1)));
  machine_.clock_ahead = 0;
  ASSERT_TRUE(Build(GetParam().request(source_)));
  EXPECT_TRUE(IsThere(1));
  EXPECT_EQ(IsThere(2), !GetParam().counts);
}

TEST_P(FreeBoxLimitTest, TheirBytesAreLimited) {
  StoreBoxes(10);
  options_.build.free_boxes.bytes = 100'000;
  kit::WriteFile(StorePath(source_, BoxNamed(1)), std::string(99'900, 'x'));
  const auto picture = Build(GetParam().request(source_));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kStore);
  EXPECT_EQ(IsThere(1), !GetParam().counts);
}

TEST_P(FreeBoxLimitTest, OneThatTakesMoreThanAllMayIsThrownAway) {
  StoreBoxes(3);
  options_.build.free_boxes.bytes = 100;
  const auto picture = Build(GetParam().request(source_));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner == Owner::kCaller, GetParam().counts);
  EXPECT_EQ(Boxes(), 3);
}

TEST_P(FreeBoxLimitTest, TheLimitIsASetting) {
  options_.build.free_boxes.files = 0;
  EXPECT_EQ(Build(GetParam().request(source_))->owner == Owner::kCaller, GetParam().counts);
  EXPECT_EQ(Boxes(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, FreeBoxLimitTest,
    testing::Values(
        BoxCase{"FreeBox", [](const auto& source) { return ForBox(source, 200, 100); }, true},
        BoxCase{"Avatar", [](const auto& source) { return ForAvatar(source, 64, 64); }, true},
        BoxCase{"NamedSize", [](const auto& source) { return ForLabel(source, kMedium); }, false}),
    CaseName());

}  // namespace
}  // namespace vexathumb::service
