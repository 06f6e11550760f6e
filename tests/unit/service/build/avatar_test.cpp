#include "service/build/avatar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/picture/content_type.h"
#include "unit/service/service_test.h"
#include "unit/service/x3f.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kTurnedCorners[] = {
    "red green blue yellow",
    "blue red yellow green",
    "yellow blue green red",
    "green yellow red blue",
};

class AvatarTest : public ServiceTest {
 protected:
  ~AvatarTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()) << "nothing may be left"; }

  const std::string source_ = Picture("a.jpg");
};

struct TurnCase {
  std::string name;
  int orientation;
  int turns;
};

std::vector<TurnCase> Turns() {
  std::vector<TurnCase> cases;
  for (int orientation = 0; orientation <= 8; ++orientation) {
    const bool half_turned_too = orientation == 1 || orientation == 2 || orientation == 6;
    for (int turns = 0; turns <= (half_turned_too ? 3 : 1); ++turns) {
      const std::string name =
          "Orientation" + std::to_string(orientation) + "Turns" + std::to_string(turns);
      cases.push_back({name, orientation, turns});
    }
  }
  return cases;
}

class UprightAvatarTest : public AvatarTest, public testing::WithParamInterface<TurnCase> {
 protected:
  void ExpectAvatar(const kit::Size& source, uint32_t width, uint32_t height) const {
    WritePhoto(source_, source, GetParam().orientation);
    ThumbnailRequest request = ForAvatar(source_, width, height);
    request.turns = GetParam().turns;
    const auto picture = Build(request);
    ASSERT_TRUE(picture);
    const kit::PictureInfo info = kit::Examine(picture->path);
    EXPECT_EQ(info.format, "JPEG");
    EXPECT_EQ(info.width, static_cast<int>(width));
    EXPECT_EQ(info.height, static_cast<int>(height));
    EXPECT_EQ(kit::Corners(picture->path), kTurnedCorners[GetParam().turns]);
  }
};

TEST_P(UprightAvatarTest, FillsASquareFromAStoredSize) { ExpectAvatar({400, 300}, 64, 64); }

TEST_P(UprightAvatarTest, FillsABoxFromASmallSource) { ExpectAvatar({100, 80}, 40, 60); }

INSTANTIATE_TEST_SUITE_P(Turns, UprightAvatarTest, testing::ValuesIn(Turns()), CaseName());

struct SizeCase {
  const char* name;
  kit::Size source;
  uint32_t width;
  uint32_t height;
  kit::Size avatar;
};

class AvatarSizeTest : public AvatarTest, public testing::WithParamInterface<SizeCase> {};

TEST_P(AvatarSizeTest, IsTheBoxButNeverLargerThanTheSource) {
  const SizeCase& c = GetParam();
  WritePhoto(source_, c.source);
  const auto picture = Build(ForAvatar(source_, c.width, c.height));
  ASSERT_TRUE(picture);
  const kit::PictureInfo info = kit::Examine(picture->path);
  EXPECT_EQ(info.width, c.avatar.width);
  EXPECT_EQ(info.height, c.avatar.height);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, AvatarSizeTest,
    testing::Values(SizeCase{"Square", {800, 600}, 96, 96, {96, 96}},
                    SizeCase{"Wide", {800, 600}, 200, 50, {200, 50}},
                    SizeCase{"Tall", {800, 600}, 50, 200, {50, 200}},
                    SizeCase{"Tiny", {800, 600}, 16, 16, {16, 16}},
                    SizeCase{"SmallerSource", {50, 40}, 64, 64, {50, 40}},
                    SizeCase{"SourceSmallerOnOneSide", {300, 40}, 100, 100, {100, 40}},
                    SizeCase{"SameSize", {64, 64}, 64, 64, {64, 64}},
                    SizeCase{"JustCoveredByASize", {360, 360}, 360, 360, {360, 360}},
                    SizeCase{"DecodedSmallerThanTheSize", {1200, 1200}, 640, 640, {640, 640}},
                    SizeCase{"LargerThanAllSizes", {2000, 1600}, 1500, 1500, {1500, 1500}},
                    SizeCase{"Panorama", {4000, 200}, 1000, 1000, {1000, 200}},
                    SizeCase{"Tower", {100, 3000}, 90, 90, {90, 90}}),
    CaseName());

// The middle of a picture of four quadrants is where they meet.
TEST_F(AvatarTest, IsCutFromTheMiddle) {
  WritePhoto(source_, {1600, 600});
  const auto picture = Build(ForAvatar(source_, 100, 100));
  ASSERT_TRUE(picture);
  const kit::Raster raster = kit::ReadRaster(picture->path);
  constexpr int kRed = 0;
  constexpr int kBlue = 2;
  EXPECT_GT(raster.At(46, 46, kRed), 180) << "top left is red";
  EXPECT_LT(raster.At(53, 46, kRed), 80) << "top right is green";
  EXPECT_LT(raster.At(46, 46, kBlue), 80);
  EXPECT_GT(raster.At(46, 53, kBlue), 180) << "bottom left is blue";
}

TEST_F(AvatarTest, IsNotEnlargedFromANamedSizeThatDoesNotCoverTheBox) {
  WritePhoto(source_, {4000, 200});
  ASSERT_TRUE(Build(ForAvatar(source_, 1000, 1000)));
  EXPECT_THAT(Stored(source_), ElementsAre("VEXAAVATAR_1000x200.jpg"));
}

TEST_F(AvatarTest, IsStoredUnderTheLibrarysNameWithTheSourcesTime) {
  WritePhoto(source_, {800, 600});
  const auto picture = Build(ForAvatar(source_, 64, 64));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(source_, "VEXAAVATAR_64x64.jpg"));
  EXPECT_EQ(picture->mime, "image/jpeg");
  EXPECT_NE(picture->owner, Owner::kCaller);
  EXPECT_EQ(ModificationTimeOf(picture->path), kSourceTime);
  EXPECT_THAT(Stored(source_), ElementsAre("VEXAAVATAR_64x64.jpg", "VEXAFILE_THUMB_S.jpg"));
}

TEST_F(AvatarTest, IsCurrentForTheLibrary) {
  WritePhoto(source_, {800, 600}, 6);
  ThumbnailRequest request = ForAvatar(source_, 64, 48);
  request.turns = 1;
  const auto picture = Build(request);
  ASSERT_TRUE(picture);
  const int runs = machine_.Runs();
  Thumb thumb(source_, Thumb::AVATAR);
  testing::internal::CaptureStdout();
  const bool sent = thumb.Rotate(1).Output(64, 48);
  fflush(stdout);
  const std::string answer = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(sent);
  EXPECT_EQ(thumb.GetOutputFile(), picture->path);
  EXPECT_EQ(machine_.Runs(), runs);
  const std::string bytes = kit::ReadFile(picture->path);
  ASSERT_GT(answer.size(), bytes.size());
  EXPECT_EQ(answer.substr(answer.size() - bytes.size()), bytes);
}

TEST_F(AvatarTest, IsTakenFromAStoredSize) {
  WritePhoto(source_, {800, 600});
  ASSERT_TRUE(Build(ForLabel(source_, kSmall)));
  const int djpegs = machine_.Runs("djpeg");
  ASSERT_TRUE(Build(ForAvatar(source_, 64, 64)));
  EXPECT_EQ(machine_.Runs("djpeg"), djpegs);
}

TEST_F(AvatarTest, IsTakenFromTheEmbeddedPreview) {
  kit::JpegOptions options;
  options.size = {800, 600};
  options.orientation = 6;
  options.exif_thumbnail = kit::Size{120, 160};
  kit::WriteJpeg(source_, options);
  const auto picture = Build(ForAvatar(source_, 64, 64));
  ASSERT_TRUE(picture);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPreviewCorners);
  EXPECT_THAT(picture->path, StartsWith(StorePath(source_, "VEXAAVATAR_")));
}

TEST_F(AvatarTest, KeepsTransparency) {
  const std::string png = Picture("a.png");
  kit::WriteTransparentPng(png, {400, 300});
  const auto picture = Build(ForAvatar(png, 64, 64));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(png, "VEXAAVATAR_64x64.png"));
  EXPECT_EQ(picture->mime, "image/png");
  EXPECT_EQ(ContentTypeOf(picture->path), kPngType);
  EXPECT_EQ(kit::Corners(picture->path), "red green blue transparent");
}

struct FormatCase {
  const char* name;
  const char* source;
  std::function<void(const std::string& path)> write;
  kit::Size box = {64, 64};
  kit::Size avatar = {64, 64};
};

class AvatarFormatTest : public AvatarTest, public testing::WithParamInterface<FormatCase> {};

TEST_P(AvatarFormatTest, IsAnUprightJpeg) {
  const FormatCase& c = GetParam();
  const std::string source = Picture(c.source);
  c.write(source);
  const auto picture = Build(
      ForAvatar(source, static_cast<uint32_t>(c.box.width), static_cast<uint32_t>(c.box.height)));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->mime, "image/jpeg");
  EXPECT_EQ(ContentTypeOf(picture->path), kJpegType);
  const kit::PictureInfo info = kit::Examine(picture->path);
  EXPECT_EQ(info.width, c.avatar.width);
  EXPECT_EQ(info.height, c.avatar.height);
  EXPECT_EQ(info.frames, 1);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AvatarFormatTest,
    testing::Values(
        FormatCase{"Tiff", "a.tif",
                   [](const auto& path) {
                     kit::WriteTiff(path, {{400, 300}, 6});
                   }},
        FormatCase{"LargeTiff",
                   "a.tif",
                   [](const auto& path) {
                     kit::WriteTiff(path, {{1600, 1500}, 6});
                   },
                   {1400, 1300},
                   {1400, 1300}},
        FormatCase{"Heic", "a.heic",
                   [](const auto& path) {
                     kit::WriteHeic(path, {{400, 300}, 6});
                   }},
        FormatCase{"LargeHeic",
                   "a.heic",
                   [](const auto& path) {
                     kit::WriteHeic(path, {{1600, 1500}, 6});
                   },
                   {1400, 1300},
                   {1400, 1300}},
        FormatCase{"AnimatedGif", "a.gif", [](const auto& path) { kit::WriteAnimatedGif(path); }},
        FormatCase{"SmallBmp", "a.bmp",
                   [](const auto& path) {
                     kit::WriteBmp(path, {100, 80});
                   }},
        // The size is unknown until the preview has been extracted.
        FormatCase{"RawOfUnknownType", "a.x3f", [](const auto& path) { WriteX3f(path, 90); }},
        FormatCase{"RawOfUnknownSize",
                   "a.x3f",
                   [](const auto& path) { WriteX3f(path); },
                   {1000, 1000},
                   {800, 600}}),
    CaseName());

TEST_F(AvatarTest, WithoutAStoreIsThrownAway) {
  kit::WriteTiff(Picture("a.tif"), {{400, 300}, 0});
  machine_.volume_type = FSTYPE_NFS;
  const auto picture = Build(ForAvatar(Picture("a.tif"), 64, 64));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kCaller);
  EXPECT_THAT(picture->path, StartsWith("/var/tmp/"));
  EXPECT_EQ(ContentTypeOf(picture->path), kJpegType);
  EXPECT_THAT(OwnTemporaries(), ElementsAre(picture->path));
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.tif"));
  unlink(picture->path.c_str());
}

TEST_F(AvatarTest, IsThrownAwayWhereTheStoreCannotBeMade) {
  WritePhoto(source_, {800, 600});
  kit::WriteFile(share_ / ".vexaea", "in the way");
  const auto picture = Build(ForAvatar(source_, 64, 64));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->owner, Owner::kCaller);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
  unlink(picture->path.c_str());
}

TEST_F(AvatarTest, OfWhatIsNoPictureIsNone) {
  WriteText(source_);
  EXPECT_FALSE(Build(ForAvatar(source_, 64, 64)));
  EXPECT_FALSE(Build(ForAvatar(source_, 2000, 2000)));
  EXPECT_THAT(Stored(source_), IsEmpty());
}

struct FaultCase {
  const char* name;
  ToolFault fault;
};

class FailedAvatarTest : public AvatarTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FailedAvatarTest, LeavesTheNamedSizeOnly) {
  WritePhoto(source_, {800, 600});
  machine_.Break("convert", GetParam().fault);
  EXPECT_FALSE(Build(ForAvatar(source_, 64, 64)));
  EXPECT_FALSE(Build(ForAvatar(source_, 700, 500))) << "no named size covers this one";
  EXPECT_THAT(Stored(source_), Contains("VEXAFILE_THUMB_S.jpg"));
  for (const std::string& name : Stored(source_)) EXPECT_THAT(name, StartsWith("VEXAFILE_THUMB_"));
}

INSTANTIATE_TEST_SUITE_P(Faults, FailedAvatarTest,
                         testing::Values(FaultCase{"Missing", ToolFault::kMissing},
                                         FaultCase{"Fails", ToolFault::kFails},
                                         FaultCase{"Killed", ToolFault::kTerminated}),
                         CaseName());

}  // namespace
}  // namespace vexathumb::service
