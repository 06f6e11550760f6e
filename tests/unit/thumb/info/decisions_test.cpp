#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;

constexpr kit::Size kTiny = {16, 16};

void WriteTinyPicture(const std::string& path, const std::string& mime) {
  if (mime == "image/jpeg") kit::WriteJpeg(path, {kTiny, 0, {}, {}, {}});
  if (mime == "image/png") kit::WritePng(path, {kTiny, 0});
  if (mime == "image/gif") kit::WriteGif(path, kTiny);
  if (mime == "image/x-ms-bmp") kit::WriteBmp(path, kTiny);
  if (mime == "image/tiff") kit::WriteTiff(path, {kTiny, 0});
  if (mime == "image/webp") kit::WriteWebp(path, {kTiny, 0});
  if (mime == "image/x-canon-cr2") kit::WriteCr2(path, kTiny, kTiny);
}

// A source of this type by content; "" is one that was never inspected.
class SourceOfType {
 public:
  explicit SourceOfType(const std::string& mime) : info_(Make(mime), kSmall, {120, 120}) {
    if (!mime.empty()) info_.ExtractImgInfo(false);
    EXPECT_EQ(info_.GetMimeType(), mime);
  }

  ThumbInfo& info() { return info_; }

 private:
  std::string Make(const std::string& mime) {
    std::string path = dir_ / "source";
    WriteTinyPicture(path, mime.empty() ? "image/jpeg" : mime);
    return path;
  }

  kit::TempDir dir_;
  ThumbInfo info_;
};

struct OutputCase {
  const char* name;
  const char* mime;
  bool gif;
  bool crop;
  const char* output_mime;
  const char* extension;
};

class OutputTypeTest : public testing::TestWithParam<OutputCase> {};

TEST_P(OutputTypeTest, FollowsFromSourceAndFlags) {
  const OutputCase& c = GetParam();
  SourceOfType source(c.mime);
  source.info().SetEnableGIF(c.gif);
  source.info().SetCropMode(c.crop);
  EXPECT_EQ(source.info().GetOutputMimeType(), c.output_mime);
  EXPECT_EQ(source.info().GetOutputExtension(), c.extension);
}

INSTANTIATE_TEST_SUITE_P(
    Sources, OutputTypeTest,
    testing::Values(
        OutputCase{"Jpeg", "image/jpeg", false, false, "image/jpeg", ".jpg"},
        OutputCase{"JpegWithGifEnabled", "image/jpeg", true, false, "image/jpeg", ".jpg"},
        OutputCase{"Png", "image/png", false, false, "image/png", ".png"},
        OutputCase{"PngCropped", "image/png", true, true, "image/png", ".png"},
        OutputCase{"GifEnabled", "image/gif", true, false, "image/gif", ".gif"},
        OutputCase{"GifDisabled", "image/gif", false, false, "image/jpeg", ".jpg"},
        OutputCase{"GifCropped", "image/gif", true, true, "image/jpeg", ".jpg"},
        OutputCase{"GifDisabledAndCropped", "image/gif", false, true, "image/jpeg", ".jpg"},
        OutputCase{"Bmp", "image/x-ms-bmp", true, false, "image/jpeg", ".jpg"},
        OutputCase{"Tiff", "image/tiff", true, false, "image/jpeg", ".jpg"},
        OutputCase{"Webp", "image/webp", true, false, "image/jpeg", ".jpg"},
        OutputCase{"Raw", "image/x-canon-cr2", true, false, "image/jpeg", ".jpg"},
        OutputCase{"NeverInspected", "", true, false, "image/jpeg", ".jpg"}),
    CaseName());

struct BrowserCase {
  const char* name;
  const char* mime;
  bool shown;
};

class WebAcceptableTest : public testing::TestWithParam<BrowserCase> {};

TEST_P(WebAcceptableTest, IsWhatBrowsersShow) {
  SourceOfType source(GetParam().mime);
  EXPECT_EQ(source.info().IsWebAcceptable(), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(Sources, WebAcceptableTest,
                         testing::Values(BrowserCase{"Jpeg", "image/jpeg", true},
                                         BrowserCase{"Png", "image/png", true},
                                         BrowserCase{"Gif", "image/gif", true},
                                         BrowserCase{"Bmp", "image/x-ms-bmp", true},
                                         BrowserCase{"Tiff", "image/tiff", false},
                                         BrowserCase{"Webp", "image/webp", false},
                                         BrowserCase{"Raw", "image/x-canon-cr2", false},
                                         BrowserCase{"NeverInspected", "", false}),
                         CaseName());

struct TargetCase {
  const char* name;
  ThumbDimension source;
  ThumbDimension box;
  int rotate;
  int user_rotate;
  ThumbDimension target;
};

class TargetDimensionTest : public testing::TestWithParam<TargetCase> {};

TEST_P(TargetDimensionTest, IsTheTurnedBoxWithinTheSource) {
  const TargetCase& c = GetParam();
  ThumbInfo info("/", kSmall, c.box);
  info.SetWidth(c.source.width_);
  info.SetHeight(c.source.height_);
  info.SetRotate(c.rotate);
  info.SetUserRotate(c.user_rotate);
  EXPECT_EQ(info.GetTargetDimension().width_, c.target.width_);
  EXPECT_EQ(info.GetTargetDimension().height_, c.target.height_);
  EXPECT_EQ(info.GetXString(),
            std::to_string(c.target.width_) + "x" + std::to_string(c.target.height_));
  EXPECT_EQ(info.GetDimension().width_, c.box.width_) << "the requested box stays";
}

constexpr uint32_t kNoLimit = 0x7FFFFFFF;

INSTANTIATE_TEST_SUITE_P(
    Boxes, TargetDimensionTest,
    testing::Values(TargetCase{"Upright", {4000, 3000}, {320, 240}, 0, 0, {320, 240}},
                    TargetCase{"Sideways", {4000, 3000}, {320, 240}, 1, 0, {240, 320}},
                    TargetCase{"UpsideDown", {4000, 3000}, {320, 240}, 2, 0, {320, 240}},
                    TargetCase{"SidewaysByTheCaller", {4000, 3000}, {320, 240}, 0, 3, {240, 320}},
                    TargetCase{"TurnsAddUp", {4000, 3000}, {320, 240}, 1, 1, {320, 240}},
                    TargetCase{"TurnsCancel", {4000, 3000}, {320, 240}, 1, -1, {320, 240}},
                    TargetCase{"NegativeOddSum", {4000, 3000}, {320, 240}, 0, -1, {240, 320}},
                    TargetCase{"NegativeEvenSum", {4000, 3000}, {320, 240}, 0, -2, {320, 240}},
                    TargetCase{"ManyTurns", {4000, 3000}, {320, 240}, 3, 1000, {240, 320}},
                    TargetCase{"SumThatWraps", {4000, 3000}, {320, 240}, 1, INT32_MAX, {320, 240}},
                    TargetCase{"SmallerSource", {800, 600}, {1280, 1280}, 0, 0, {800, 600}},
                    TargetCase{"SmallerSourceSideways", {800, 600}, {1280, 1280}, 1, 0, {800, 600}},
                    TargetCase{"OneSideSmaller", {4000, 100}, {320, 240}, 0, 0, {320, 100}},
                    TargetCase{"OneSideSmallerSideways", {4000, 300}, {400, 240}, 1, 0, {240, 300}},
                    TargetCase{"UnknownSource", {0, 0}, {120, 160}, 0, 0, {120, 160}},
                    TargetCase{"UnknownSourceSideways", {0, 0}, {120, 160}, 3, 0, {160, 120}},
                    TargetCase{"UnknownWidth", {0, 100}, {320, 240}, 0, 0, {320, 240}},
                    TargetCase{"UnknownHeight", {100, 0}, {320, 240}, 1, 0, {240, 320}},
                    TargetCase{"NoLimit", {4000, 3000}, {kNoLimit, kNoLimit}, 0, 0, {4000, 3000}},
                    TargetCase{"EmptyBox", {4000, 3000}, {0, 0}, 0, 0, {0, 0}}),
    CaseName());

struct ConvertCase {
  const char* name;
  const char* mime;
  const char* size;
  ThumbDimension box;
  ThumbDimension source;
  int rotate;
  int user_rotate;
  bool gif;
  bool needed;
};

class NeedConvertTest : public testing::TestWithParam<ConvertCase> {};

TEST_P(NeedConvertTest, IsToldByTypeTurnsAndSize) {
  const ConvertCase& c = GetParam();
  SourceOfType source(c.mime);
  ThumbInfo& info = source.info();
  info.SetSize(c.size);
  info.SetDimension(c.box);
  info.SetWidth(c.source.width_);
  info.SetHeight(c.source.height_);
  info.SetRotate(c.rotate);
  info.SetUserRotate(c.user_rotate);
  info.SetEnableGIF(c.gif);
  EXPECT_EQ(info.IsNeedConvert(), c.needed);
}

constexpr char kJpegType[] = "image/jpeg";

INSTANTIATE_TEST_SUITE_P(
    Requests, NeedConvertTest,
    testing::Values(
        ConvertCase{"FitsExactly", kJpegType, "small", {120, 120}, {120, 120}, 0, 0, false, false},
        ConvertCase{"TooWide", kJpegType, "small", {120, 120}, {121, 120}, 0, 0, false, true},
        ConvertCase{"TooHigh", kJpegType, "small", {120, 120}, {120, 121}, 0, 0, false, true},
        ConvertCase{"Turned", kJpegType, "small", {120, 120}, {20, 20}, 1, 0, false, true},
        ConvertCase{"TurnedByCaller", kJpegType, "small", {120, 120}, {20, 20}, 0, 2, false, true},
        ConvertCase{"TurnsCancel", kJpegType, "small", {120, 120}, {20, 20}, 1, -1, false, false},
        ConvertCase{"FullTurn", kJpegType, "small", {120, 120}, {20, 20}, 3, 1, false, true},
        ConvertCase{"CustomSize", kJpegType, "__CUSTOM_SIZE__", {9, 9}, {10, 9}, 0, 0, false, true},
        ConvertCase{"Xlarge", kJpegType, "xlarge", {1280, 1280}, {1281, 9}, 0, 0, false, true},
        ConvertCase{"LargeBelow", kJpegType, "large", {9, 9}, {1280, 1279}, 0, 0, false, false},
        ConvertCase{"LargeAt", kJpegType, "large", {9999, 9999}, {1280, 1280}, 0, 0, false, true},
        ConvertCase{"LargeLongAndLow", kJpegType, "large", {9, 9}, {9000, 180}, 0, 0, false, false},
        ConvertCase{"LargeTurned", kJpegType, "large", {9, 9}, {2, 2}, 1, 0, false, true},
        ConvertCase{"LargeWraps", kJpegType, "large", {9, 9}, {65536, 65536}, 0, 0, false, false},
        ConvertCase{"GifDisabled", "image/gif", "small", {120, 120}, {9, 9}, 0, 0, false, true},
        ConvertCase{"GifEnabled", "image/gif", "small", {120, 120}, {9, 9}, 0, 0, true, false},
        ConvertCase{"GifTooWide", "image/gif", "small", {120, 120}, {121, 9}, 0, 0, true, true},
        ConvertCase{"Png", "image/png", "small", {120, 120}, {9, 9}, 0, 0, false, false},
        ConvertCase{"Bmp", "image/x-ms-bmp", "small", {120, 120}, {9, 9}, 0, 0, false, false},
        ConvertCase{"Tiff", "image/tiff", "small", {120, 120}, {9, 9}, 0, 0, false, true},
        ConvertCase{"TiffLarge", "image/tiff", "large", {120, 120}, {9, 9}, 0, 0, false, true},
        ConvertCase{"NeverInspected", "", "small", {120, 120}, {9, 9}, 0, 0, false, true}),
    CaseName());

TEST(ThumbInfoTest, KnowsOnlyTheRequestBeforeInspection) {
  const ThumbInfo info("/", kBig, {640, 480});
  EXPECT_FALSE(info.IsGood());
  EXPECT_EQ(info.GetMimeType(), "");
  EXPECT_EQ(info.GetSize(), "big");
  EXPECT_EQ(info.GetDimension().width_, 640U);
  EXPECT_EQ(info.GetDimension().height_, 480U);
  EXPECT_EQ(info.GetWidth(), 0U);
  EXPECT_EQ(info.GetHeight(), 0U);
  EXPECT_EQ(info.GetRotate(), 0);
  EXPECT_EQ(info.GetUserRotate(), 0);
  EXPECT_FALSE(info.GetFlop());
  EXPECT_FALSE(info.GetEnableGIF());
  EXPECT_FALSE(info.GetCropMode());
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), "");
}

TEST(ThumbInfoTest, EachSetterChangesItsFieldAlone) {
  ThumbInfo info("/", kBig, {640, 480});
  info.SetWidth(1);
  info.SetHeight(2);
  info.SetRotate(3);
  info.SetUserRotate(-4);
  info.SetSize("unheard-of");
  info.SetDimension({5, 6});
  info.SetEnableGIF(true);
  EXPECT_FALSE(info.GetCropMode());
  info.SetCropMode(true);
  info.SetEnableGIF(false);
  EXPECT_EQ(info.GetWidth(), 1U);
  EXPECT_EQ(info.GetHeight(), 2U);
  EXPECT_EQ(info.GetRotate(), 3);
  EXPECT_EQ(info.GetUserRotate(), -4);
  EXPECT_EQ(info.GetSize(), "unheard-of");
  EXPECT_EQ(info.GetDimension().width_, 5U);
  EXPECT_EQ(info.GetDimension().height_, 6U);
  EXPECT_FALSE(info.GetEnableGIF());
  EXPECT_TRUE(info.GetCropMode());
}

TEST(ThumbInfoTest, ThresholdOfLargeIsFixed) {
  EXPECT_EQ(ThumbInfo::LARGE_ORIG_THRESHOLD, 1638400U);
}

}  // namespace
}  // namespace vexathumb
