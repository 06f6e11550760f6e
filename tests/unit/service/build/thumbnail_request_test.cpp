#include "service/build/thumbnail_request.h"

#include <gtest/gtest.h>

#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;

struct OptionsCase {
  const char* name;
  std::function<void(ThumbnailRequest&)> change;
  int options;
};

class OptionsOfTest : public testing::TestWithParam<OptionsCase> {};

TEST_P(OptionsOfTest, AreTheLibrarysBits) {
  ThumbnailRequest request = ForLabel("/s/a.jpg", kBig);
  GetParam().change(request);
  EXPECT_EQ(OptionsOf(request), GetParam().options);
}

constexpr int kUsual = Thumb::PIXDECK_EA | Thumb::DOCDECK_EA;

INSTANTIATE_TEST_SUITE_P(
    Requests, OptionsOfTest,
    testing::Values(OptionsCase{"Usual", [](auto&) {}, kUsual},
                    OptionsCase{"NoPixdeck", [](auto& r) { r.pixdeck = false; }, Thumb::DOCDECK_EA},
                    OptionsCase{"NoDocdeck", [](auto& r) { r.docdeck = false; }, Thumb::PIXDECK_EA},
                    OptionsCase{"NoStore", [](auto& r) { r.pixdeck = r.docdeck = false; }, 0},
                    OptionsCase{"FreeBox", [](auto& r) { r.label.clear(); }, Thumb::DOCDECK_EA},
                    OptionsCase{"OnlyStored", [](auto& r) { r.only_stored = true; },
                                kUsual | Thumb::EA_ONLY},
                    OptionsCase{"Animated", [](auto& r) { r.animated_gif = true; },
                                kUsual | Thumb::ANIMATE_GIF},
                    OptionsCase{"Avatar", [](auto& r) { r.avatar = true; }, kUsual | Thumb::AVATAR},
                    OptionsCase{"Smaller", [](auto& r) { r.allow_smaller = true; },
                                kUsual | Thumb::FALLBACK_SMALLER},
                    OptionsCase{"AnyShare", [](auto& r) { r.any_share = true; },
                                kUsual | Thumb::NOT_CHECK_INDEX},
                    OptionsCase{"TurnsAreNoOption", [](auto& r) { r.turns = 3; }, kUsual}),
    CaseName());

struct VideoCase {
  const char* name;
  const char* source;
  bool video;
};

class IsVideoTest : public testing::TestWithParam<VideoCase> {};

TEST_P(IsVideoTest, GoesByTheNameAlone) {
  EXPECT_EQ(IsVideo(ForLabel(GetParam().source, kBig)), GetParam().video);
}

INSTANTIATE_TEST_SUITE_P(Names, IsVideoTest,
                         testing::Values(VideoCase{"Film", "/s/a.mp4", true},
                                         VideoCase{"Capitals", "/s/a.MOV", true},
                                         VideoCase{"Picture", "/s/a.jpg", false},
                                         VideoCase{"FolderLikeAFilm", "/s/a.mp4/b.jpg", false},
                                         VideoCase{"FolderLikeAFilmNoDot", "/s/a.mp4/b", false}),
                         CaseName());

class DescribeTest : public ServiceTest {};

TEST_F(DescribeTest, CarriesTheWholeRequest) {
  kit::WriteFile(Picture("a.jpg"), "x");
  ThumbnailRequest request = ForBox(Picture("a.jpg"), 30, 20);
  request.turns = 3;
  request.animated_gif = true;
  request.avatar = true;
  const ThumbInfo info = Describe(request);
  EXPECT_EQ(info.GetSize(), "__CUSTOM_SIZE__");
  EXPECT_EQ(info.GetDimension().width_, 30U);
  EXPECT_EQ(info.GetDimension().height_, 20U);
  EXPECT_EQ(info.GetUserRotate(), 3);
  EXPECT_TRUE(info.GetEnableGIF());
  EXPECT_TRUE(info.GetCropMode());
  EXPECT_FALSE(info.IsGood());
}

TEST_F(DescribeTest, KeepsTheLabel) {
  kit::WriteFile(Picture("a.jpg"), "x");
  EXPECT_EQ(Describe(ForLabel(Picture("a.jpg"), kLarge)).GetSize(), kLarge);
}

TEST_F(DescribeTest, RefusesAMissingSource) {
  EXPECT_THROW(Describe(ForLabel(Picture("missing.jpg"), kBig)), Error);
}

}  // namespace
}  // namespace vexathumb::service
