#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;

constexpr char kCustom[] = "__CUSTOM_SIZE__";
constexpr char kNoName[] = "";  // the name cannot be formed

struct SuffixCase {
  const char* name;
  int rotate;
  int user_rotate;
  const char* suffix;
};

class RotateSuffixTest : public testing::TestWithParam<SuffixCase> {};

TEST_P(RotateSuffixTest, IsTheSumsRemainder) {
  ThumbInfo info("/", kSmall, {120, 120});
  info.SetRotate(GetParam().rotate);
  info.SetUserRotate(GetParam().user_rotate);
  EXPECT_EQ(info.GetRotateSuffix(), GetParam().suffix);
  EXPECT_EQ(info.GetDocdeckTmpThumbEAName(),
            std::string("VEXAFILETMP_THUMB") + GetParam().suffix + ".jpg");
}

INSTANTIATE_TEST_SUITE_P(
    Turns, RotateSuffixTest,
    testing::Values(SuffixCase{"None", 0, 0, ""}, SuffixCase{"One", 1, 0, "_r1"},
                    SuffixCase{"Two", 2, 0, "_r2"}, SuffixCase{"Three", 0, 3, "_r3"},
                    SuffixCase{"FullTurn", 3, 1, ""}, SuffixCase{"BeyondAFullTurn", 2, 3, "_r1"},
                    SuffixCase{"MinusOne", 0, -1, "_r-1"}, SuffixCase{"MinusTwo", 0, -2, "_r-2"},
                    SuffixCase{"MinusThree", 1, -4, "_r-3"}, SuffixCase{"MinusFour", 0, -4, ""},
                    SuffixCase{"MinusFive", 0, -5, "_r-1"}, SuffixCase{"Undone", 1, -1, ""},
                    SuffixCase{"LargestInt", 0, INT_MAX, "_r3"},
                    SuffixCase{"SmallestInt", 0, INT_MIN, ""}),
    CaseName());

struct NameCase {
  const char* name;
  const char* mime;  // "jpeg", "png" or "gif"
  const char* size;
  int turns;
  ThumbDimension box;
  std::string pixdeck;
  std::string pixdeck_old;
  std::string docdeck;
  std::string avatar;
};

class StoreNameTest : public testing::TestWithParam<NameCase> {
 protected:
  template <typename Operation>
  static std::string NameOrNone(Operation operation) {
    try {
      return operation();
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "map::at");
      return kNoName;
    }
  }
};

TEST_P(StoreNameTest, IsByteForByte) {
  const NameCase& c = GetParam();
  const kit::TempDir dir;
  const std::string path = dir / "source";
  const std::string type = c.mime;
  if (type == "jpeg") kit::WriteJpeg(path, {{16, 16}, 0, {}, {}, {}});
  if (type == "png") kit::WritePng(path, {{16, 16}, 0});
  if (type == "gif") kit::WriteGif(path, {16, 16});
  ThumbInfo info(path, c.size, c.box);
  info.ExtractImgInfo(false);
  info.SetWidth(4000);
  info.SetHeight(3000);
  info.SetUserRotate(c.turns);
  info.SetEnableGIF(true);
  EXPECT_EQ(NameOrNone([&info] { return info.GetPixdeckThumbEAName(); }), c.pixdeck);
  EXPECT_EQ(NameOrNone([&info] { return info.GetPixdeckOldThumbEAName(); }), c.pixdeck_old);
  EXPECT_EQ(NameOrNone([&info] { return info.GetDocdeckThumbEAName(); }), c.docdeck);
  EXPECT_EQ(info.GetAvatarThumbEAName(), c.avatar);
  EXPECT_EQ(info.GetReeldeckThumbEAName(), "VEXAVIDEO_VIDEO_SCREENSHOT.jpg");
}

const ThumbDimension kBox = {320, 240};

INSTANTIATE_TEST_SUITE_P(
    Requests, StoreNameTest,
    testing::Values(
        NameCase{"Small", "jpeg", "small", 0, kBox, "VEXAPHOTO_THUMB_S.jpg",
                 "VEXAPHOTO:THUMB_S.jpg", "VEXAFILE_THUMB_S.jpg", "VEXAAVATAR_320x240.jpg"},
        NameCase{"Medium", "jpeg", "medium", 0, kBox, "VEXAPHOTO_THUMB_M.jpg",
                 "VEXAPHOTO:THUMB_M.jpg", "VEXAFILE_THUMB_M.jpg", "VEXAAVATAR_320x240.jpg"},
        NameCase{"Big", "jpeg", "big", 0, kBox, "VEXAPHOTO_THUMB_B.jpg", "VEXAPHOTO:THUMB_B.jpg",
                 "VEXAFILE_THUMB_B.jpg", "VEXAAVATAR_320x240.jpg"},
        NameCase{"Large", "jpeg", "large", 0, kBox, "VEXAPHOTO_THUMB_XL.jpg",
                 "VEXAPHOTO:THUMB_XL.jpg", "VEXAFILE_THUMB_XL.jpg", "VEXAAVATAR_320x240.jpg"},
        NameCase{"ExtraLarge", "jpeg", "xlarge", 0, kBox, "VEXAPHOTO_THUMB_XL.jpg",
                 "VEXAPHOTO:THUMB_XL.jpg", "VEXAFILE_THUMB_XL.jpg", "VEXAAVATAR_320x240.jpg"},
        NameCase{"Original", "jpeg", "original", 0, kBox, kNoName, kNoName, kNoName,
                 "VEXAAVATAR_320x240.jpg"},
        NameCase{"UnknownLabel", "jpeg", "Small", 0, kBox, kNoName, kNoName, kNoName,
                 "VEXAAVATAR_320x240.jpg"},
        NameCase{"Custom", "jpeg", kCustom, 0, kBox, kNoName, kNoName, "VEXAFILE_THUMB_320x240.jpg",
                 "VEXAAVATAR_320x240.jpg"},
        NameCase{"CustomSideways", "jpeg", kCustom, 1, kBox, kNoName, kNoName,
                 "VEXAFILE_THUMB_240x320_r1.jpg", "VEXAAVATAR_240x320_r1.jpg"},
        NameCase{"CustomWithoutLimit", "jpeg", kCustom, 0, ThumbDimension{0x7FFFFFFF, 0x7FFFFFFF},
                 kNoName, kNoName, "VEXAFILE_THUMB_4000x3000.jpg", "VEXAAVATAR_4000x3000.jpg"},
        NameCase{"Avatar", "jpeg", kCustom, 0, ThumbDimension{96, 96}, kNoName, kNoName,
                 "VEXAFILE_THUMB_96x96.jpg", "VEXAAVATAR_96x96.jpg"},
        NameCase{"PngSideways", "png", "medium", 1, kBox, "VEXAPHOTO_THUMB_M.png",
                 "VEXAPHOTO:THUMB_M.png", "VEXAFILE_THUMB_M_r1.png", "VEXAAVATAR_240x320_r1.png"},
        NameCase{"NegativeTurn", "jpeg", "small", -1, kBox, "VEXAPHOTO_THUMB_S.jpg",
                 "VEXAPHOTO:THUMB_S.jpg", "VEXAFILE_THUMB_S_r-1.jpg", "VEXAAVATAR_240x320_r-1.jpg"},
        NameCase{"Gif", "gif", "small", 0, kBox, "VEXAPHOTO_THUMB_S.gif", "VEXAPHOTO:THUMB_S.gif",
                 "VEXAFILE_THUMB_S.gif", "VEXAAVATAR_320x240.gif"}),
    CaseName());

class FormatNameTest : public testing::Test {
 protected:
  kit::TempDir dir_;
  const std::string path_ = dir_ / "source";
};

TEST_F(FormatNameTest, CroppedGifIsNamedAsJpeg) {
  kit::WriteGif(path_, {16, 16});
  ThumbInfo info(path_, kSmall, kBox);
  info.ExtractImgInfo(false);
  info.SetEnableGIF(true);
  info.SetCropMode(true);
  EXPECT_EQ(info.GetPixdeckThumbEAName(), "VEXAPHOTO_THUMB_S.jpg");
}

TEST_F(FormatNameTest, TemporaryNameHasTurnsAndTypeOnly) {
  kit::WritePng(path_, {{16, 16}, 0});
  ThumbInfo info(path_, kMedium, kBox);
  info.ExtractImgInfo(false);
  info.SetUserRotate(1);
  EXPECT_EQ(info.GetDocdeckTmpThumbEAName(), "VEXAFILETMP_THUMB_r1.png");
  info.SetUserRotate(0);
  EXPECT_EQ(info.GetDocdeckTmpThumbEAName(), "VEXAFILETMP_THUMB.png");
}

}  // namespace
}  // namespace vexathumb
