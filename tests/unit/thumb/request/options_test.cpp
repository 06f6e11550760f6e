#include <map>
#include <utility>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(ThumbOptionBits, AreFixed) {
  EXPECT_EQ(Thumb::PIXDECK_EA, 1);
  EXPECT_EQ(Thumb::DOCDECK_EA, 2);
  EXPECT_EQ(Thumb::ALL_EA, 3);
  EXPECT_EQ(Thumb::EA_ONLY, 4);
  EXPECT_EQ(Thumb::ANIMATE_GIF, 8);
  EXPECT_EQ(Thumb::NO_ORIG_IMAGE, 16);
  EXPECT_EQ(Thumb::AVATAR, 32);
  EXPECT_EQ(Thumb::FALLBACK_SMALLER, 64);
  EXPECT_EQ(Thumb::NOT_CHECK_INDEX, 128);
  EXPECT_EQ(Thumb::DUMMY_END_BIT, 1 << 30);
  EXPECT_EQ(Thumb::kNull, 0);
  EXPECT_EQ(Thumb::kPixdeck, 1);
  EXPECT_EQ(Thumb::kDocdeck, 2);
  EXPECT_EQ(Thumb::kDocdeckVarTmp, 3);
  EXPECT_EQ(Thumb::kReeldeck, 4);
  EXPECT_EQ(Thumb::kOriginalImage, 5);
}

TEST(ThumbSizes, HaveTheirBoxes) {
  std::map<std::string, std::pair<uint32_t, uint32_t>> rows;
  for (const auto& [label, box] : Thumb::strThumbSizeMap_) rows[label] = {box.width_, box.height_};
  EXPECT_THAT(rows,
              ElementsAre(Pair("big", Pair(640U, 640U)), Pair("large", Pair(1280U, 1280U)),
                          Pair("medium", Pair(360U, 360U)),
                          Pair("original", Pair(2147483647U, 2147483647U)),
                          Pair("small", Pair(120U, 120U)), Pair("xlarge", Pair(1280U, 1280U))));
}

TEST(ThumbSizes, AreOrderedLargestFirst) {
  EXPECT_THAT(Thumb::size_vec,
              ElementsAre("original", "xlarge", "large", "big", "medium", "small"));
}

class ThumbTest : public RequestTest {};

TEST_F(ThumbTest, IsEmptyAfterConstruction) {
  const std::string source = Jpeg();
  Thumb thumb(source, Thumb::ALL_EA);
  EXPECT_EQ(thumb.GetOutputFile(), "");
  EXPECT_EQ(thumb.GetOutputType(), "");
  EXPECT_EQ(thumb.GetOutputMimeType(), "image/jpeg");
  EXPECT_FALSE(thumb.IsNeedDelete());
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

TEST_F(ThumbTest, OfAMissingSourceThrows) {
  try {
    const Thumb thumb(dir_ / "missing.jpg", 0);
    FAIL() << "constructed";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), Error::kInternalError);
    EXPECT_EQ(error.msg_, "Can't stat " + (dir_ / "missing.jpg"));
  }
}

TEST_F(ThumbTest, RotateReturnsTheObject) {
  Thumb thumb(Jpeg(), 0);
  for (const int turns : {0, 1, 4, -1, -2147483647 - 1}) EXPECT_EQ(&thumb.Rotate(turns), &thumb);
}

TEST_F(ThumbTest, KeepsThePreviewUntilItIsDestroyed) {
  kit::JpegOptions picture;
  picture.exif_thumbnail = kit::Size{160, 120};
  // The file manager's slot holds a current thumbnail, so nothing consumes the preview.
  const std::string source = Jpeg(picture);
  Store(source, "VEXAFILE_THUMB_S.jpg");
  {
    Thumb thumb(source, Thumb::DOCDECK_EA);
    EXPECT_NE(thumb.CalcOutputFile("small"), "");
    EXPECT_EQ(PreviewsInTmp(), 1);
    TakeSteps();
  }
  EXPECT_THAT(TakeSteps(), ElementsAre("unlink preview"));
  EXPECT_EQ(PreviewsInTmp(), 0);
}

TEST_F(ThumbTest, NeverDeletesItsOutput) {
  const std::string source = Jpeg();
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  std::string output;
  {
    Thumb thumb(source, 0);
    output = thumb.CalcOutputFile("small");
    EXPECT_TRUE(thumb.IsNeedDelete());
    TakeSteps();
  }
  EXPECT_TRUE(Exists(output));
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

// Which sources a set of options asks, with none of them there and every tool failing.
struct OptionCase {
  const char* name;
  int options;
  bool video;
  std::vector<std::string> steps;
};

class ThumbOptions : public RequestTest, public testing::WithParamInterface<OptionCase> {};

TEST_P(ThumbOptions, ChooseTheSourcesAsked) {
  SetShareStatus(SHARE_STATUS_INDEXED);
  Thumb thumb(GetParam().video ? Video() : Jpeg(), GetParam().options);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_EQ(TakeSteps(), GetParam().steps);
  EXPECT_EQ(thumb.GetOutputFile(), "");
  EXPECT_EQ(thumb.GetOutputType(), "");
}

TEST_P(ThumbOptions, CanBeSetLater) {
  SetShareStatus(SHARE_STATUS_INDEXED);
  Thumb thumb(GetParam().video ? Video() : Jpeg(), ~GetParam().options);
  thumb.SetOption(GetParam().options);
  thumb.CalcOutputFile("small");
  EXPECT_EQ(TakeSteps(), GetParam().steps);
}

std::vector<std::string> operator+(std::vector<std::string> left,
                                   const std::vector<std::string>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const std::vector<std::string> kPixdeck = {
    "share", "name VEXAPHOTO_THUMB_S.jpg", "access VEXAPHOTO_THUMB_S.jpg",
    "share", "name VEXAPHOTO:THUMB_S.jpg", "access VEXAPHOTO:THUMB_S.jpg"};
const std::vector<std::string> kPixdeckUnchecked = {
    "name VEXAPHOTO_THUMB_S.jpg", "access VEXAPHOTO_THUMB_S.jpg", "name VEXAPHOTO:THUMB_S.jpg",
    "access VEXAPHOTO:THUMB_S.jpg"};
const std::vector<std::string> kDocdeck = {"name VEXAFILE_THUMB_S.jpg",
                                           "stat VEXAFILE_THUMB_S.jpg"};
// Without metadata a stored thumbnail cannot be current.
const std::vector<std::string> kDocdeckOfVideo = {"name VEXAFILE_THUMB_S.jpg"};
const std::vector<std::string> kReeldeck = {"share", "name VEXAVIDEO_VIDEO_SCREENSHOT.jpg",
                                            "access VEXAVIDEO_VIDEO_SCREENSHOT.jpg"};
const std::vector<std::string> kReeldeckUnchecked = {"name VEXAVIDEO_VIDEO_SCREENSHOT.jpg",
                                                     "access VEXAVIDEO_VIDEO_SCREENSHOT.jpg"};
const std::vector<std::string> kAvatar = {"name VEXAAVATAR_120x120.jpg",
                                          "stat VEXAAVATAR_120x120.jpg"};
const std::vector<std::string> kPreview = {"name VEXAFILE_THUMB_S.jpg"};
const std::vector<std::string> kOnline = {
    "volume",      "name VEXAFILETMP_THUMB.jpg",  "store", "make store", "run djpeg",
    "run convert", "unlink VEXAFILETMP_THUMB.jpg"};

const OptionCase kOptionCases[] = {
    {"None", 0, false, kPreview + kOnline},
    {"Pixdeck", Thumb::PIXDECK_EA, false, kPixdeck + kPreview + kOnline},
    {"Docdeck", Thumb::DOCDECK_EA, false, kDocdeck + kPreview + kOnline},
    {"All", Thumb::ALL_EA, false, kPixdeck + kDocdeck + kPreview + kOnline},
    {"AllStored", Thumb::ALL_EA | Thumb::EA_ONLY, false, kPixdeck + kDocdeck + kPreview},
    {"StoredOfNothing", Thumb::EA_ONLY, false, kPreview},
    {"AllUnchecked", Thumb::ALL_EA | Thumb::NOT_CHECK_INDEX, false,
     kPixdeckUnchecked + kDocdeck + kPreview + kOnline},
    {"Avatar", Thumb::AVATAR, false, kAvatar + kPreview + kOnline},
    {"AvatarTurnsTheApplicationsOff", Thumb::ALL_EA | Thumb::AVATAR, false,
     kAvatar + kPreview + kOnline},
    {"StoredAvatar", Thumb::AVATAR | Thumb::EA_ONLY, false, kAvatar + kPreview},
    {"NoOriginalMeansNothing", Thumb::ALL_EA | Thumb::NO_ORIG_IMAGE, false,
     kPixdeck + kDocdeck + kPreview + kOnline},
    {"EndBitMeansNothing", Thumb::DUMMY_END_BIT, false, kPreview + kOnline},
    {"NoneOfVideo", 0, true, kReeldeck},
    {"AllOfVideo", Thumb::ALL_EA, true, kPixdeck + kDocdeckOfVideo + kReeldeck},
    {"UncheckedOfVideo", Thumb::NOT_CHECK_INDEX, true, kReeldeckUnchecked},
    {"AvatarOfVideo", Thumb::AVATAR, true, kReeldeck + kAvatar},
};

INSTANTIATE_TEST_SUITE_P(Set, ThumbOptions, testing::ValuesIn(kOptionCases), kit::CaseName());

TEST_F(ThumbTest, SettingOptionsKeepsTheAnswerWhetherToDelete) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  Thumb thumb(Jpeg(), 0);
  thumb.CalcOutputFile("small");
  thumb.SetOption(Thumb::ALL_EA);
  EXPECT_TRUE(thumb.IsNeedDelete());
}

}  // namespace
}  // namespace vexathumb
