#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;
using kit::ExifValue;

constexpr char kStandardKey[] = "Exif.Image.Orientation";

class OrientationTest : public testing::Test {
 protected:
  ThumbInfo Inspect() const {
    ThumbInfo info(path_, kSmall, {120, 120});
    info.ExtractImgInfo(false);
    return info;
  }

  kit::TempDir dir_;
  const std::string path_ = dir_ / "source";
};

struct TurnCase {
  int orientation;
  int rotate;
  bool flop;
};

constexpr TurnCase kTurns[] = {
    {1, 0, false}, {2, 0, true},  {3, 2, false}, {4, 2, true},
    {5, 1, true},  {6, 1, false}, {7, 3, true},  {8, 3, false},
};

class EightOrientationsTest : public OrientationTest, public testing::WithParamInterface<TurnCase> {
 protected:
  void ExpectTurns(int rotate, bool flop) const {
    const ThumbInfo info = Inspect();
    EXPECT_TRUE(info.IsGood());
    EXPECT_EQ(info.GetRotate(), rotate);
    EXPECT_EQ(info.GetFlop(), flop);
  }
};

TEST_P(EightOrientationsTest, TurnAJpeg) {
  kit::WriteJpeg(path_, {{64, 48}, GetParam().orientation, {}, {}, {}});
  ExpectTurns(GetParam().rotate, GetParam().flop);
}

TEST_P(EightOrientationsTest, TurnAPng) {
  kit::WritePng(path_, {{64, 48}, GetParam().orientation});
  ExpectTurns(GetParam().rotate, GetParam().flop);
}

TEST_P(EightOrientationsTest, TurnATiff) {
  kit::WriteTiff(path_, {{64, 48}, GetParam().orientation});
  ExpectTurns(GetParam().rotate, GetParam().flop);
}

TEST_P(EightOrientationsTest, TurnAWebp) {
  kit::WriteWebp(path_, {{64, 48}, GetParam().orientation});
  ExpectTurns(GetParam().rotate, GetParam().flop);
}

TEST_P(EightOrientationsTest, DoNotTurnAHeicWhichItsDecoderTurns) {
  kit::WriteHeic(path_, {{128, 96}, GetParam().orientation});
  ExpectTurns(0, false);
}

TEST_P(EightOrientationsTest, DoNotTurnAnAvifWhichItsDecoderTurns) {
  kit::WriteAvif(path_, {{128, 96}, GetParam().orientation});
  ExpectTurns(0, false);
}

TEST_P(EightOrientationsTest, AreTheRowsOfTheTable) {
  const auto& row =
      ThumbInfo::rotateFlopMappingList_.at(static_cast<size_t>(GetParam().orientation - 1));
  EXPECT_EQ(row.first, GetParam().rotate);
  EXPECT_EQ(row.second, GetParam().flop);
}

std::string OrientationName(const testing::TestParamInfo<TurnCase>& turn) {
  return "Orientation" + std::to_string(turn.param.orientation);
}

INSTANTIATE_TEST_SUITE_P(Exif, EightOrientationsTest, testing::ValuesIn(kTurns), OrientationName);

// The standard tag and what stands in the maker note beside it.
struct TagCase {
  const char* name;
  std::vector<ExifValue> exif;
  int rotate;
  bool flop;
};

class OrientationTagTest : public OrientationTest, public testing::WithParamInterface<TagCase> {};

TEST_P(OrientationTagTest, DecidesTheTurns) {
  kit::WriteJpeg(path_, {{64, 48}, 0, {}, {}, GetParam().exif});
  const ThumbInfo info = Inspect();
  EXPECT_TRUE(info.IsGood());
  EXPECT_EQ(info.GetRotate(), GetParam().rotate);
  EXPECT_EQ(info.GetFlop(), GetParam().flop);
}

ExifValue Standard(const std::string& text) { return {kStandardKey, text, Exiv2::invalidTypeId}; }

ExifValue StandardAsText(const std::string& text) {
  return {kStandardKey, text, Exiv2::asciiString};
}

std::vector<ExifValue> MakerNote(const std::string& make, const std::string& model,
                                 const std::string& key, const std::string& text) {
  return {Standard("1"),
          {"Exif.Image.Make", make, Exiv2::invalidTypeId},
          {"Exif.Image.Model", model, Exiv2::invalidTypeId},
          {key, text, Exiv2::invalidTypeId}};
}

std::vector<ExifValue> With(std::vector<ExifValue> values, const ExifValue& value) {
  values.push_back(value);
  return values;
}

std::vector<ExifValue> PanasonicWithStandard(const ExifValue& standard) {
  return {standard,
          {"Exif.Image.Make", "Panasonic", Exiv2::invalidTypeId},
          {"Exif.Panasonic.Rotation", "8", Exiv2::invalidTypeId}};
}

INSTANTIATE_TEST_SUITE_P(
    Standard, OrientationTagTest,
    testing::Values(TagCase{"Absent", {}, 0, false}, TagCase{"Zero", {Standard("0")}, 0, false},
                    TagCase{"Nine", {Standard("9")}, 0, false},
                    TagCase{"LargestShort", {Standard("65535")}, 0, false},
                    TagCase{"TextNumber", {StandardAsText("6")}, 1, false},
                    TagCase{"TextNegative", {StandardAsText("-1")}, 0, false},
                    TagCase{"TextSmallestInt", {StandardAsText("-2147483648")}, 0, false},
                    TagCase{"TextLargestInt", {StandardAsText("2147483647")}, 0, false},
                    TagCase{"TextLeadingBlanks", {StandardAsText("  5")}, 1, true},
                    TagCase{"TextTrailingLetters", {StandardAsText("8th")}, 3, false},
                    TagCase{"SeveralNumbers", {Standard("3 6")}, 2, false}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    MakerNote, OrientationTagTest,
    testing::Values(
        TagCase{"Panasonic", MakerNote("Panasonic", "DMC", "Exif.Panasonic.Rotation", "8"), 3,
                false},
        TagCase{"Minolta5D", MakerNote("Minolta", "5D", "Exif.MinoltaCs5D.Rotation", "6"), 1,
                false},
        TagCase{"Minolta7D", MakerNote("Minolta", "7D", "Exif.MinoltaCs7D.Rotation", "3"), 2,
                false},
        TagCase{"SonyA100", MakerNote("SONY", "DSLR-A100", "Exif.Sony1MltCsA100.Rotation", "8"), 3,
                false},
        TagCase{"Sony1", MakerNote("SONY", "DSLR-A700", "Exif.Sony1Cs.Rotation", "6"), 1, false},
        TagCase{"Sony2", MakerNote("SONY", "DSLR-A700", "Exif.Sony2Cs.Rotation", "8"), 3, false},
        TagCase{"Sony1SecondKind", MakerNote("SONY", "DSLR-A330", "Exif.Sony1Cs2.Rotation", "5"), 1,
                true},
        TagCase{"Sony2SecondKind", MakerNote("SONY", "DSLR-A330", "Exif.Sony2Cs2.Rotation", "7"), 3,
                true},
        // The settings that hold the second tag always hold the first one too, as 0 here.
        TagCase{"FirstOfTwoDecides", MakerNote("Minolta", "5D", "Exif.MinoltaCs5D.Rotation2", "6"),
                0, false},
        TagCase{"FirstOfTwoDecidesWithANumber",
                With(MakerNote("Minolta", "5D", "Exif.MinoltaCs5D.Rotation2", "6"),
                     {"Exif.MinoltaCs5D.Rotation", "8", Exiv2::invalidTypeId}),
                3, false},
        TagCase{"UnknownCode", MakerNote("Minolta", "7D", "Exif.MinoltaCs7D.Rotation", "72"), 0,
                false},
        TagCase{"NoneOfTheKeys", MakerNote("Canon", "EOS", "Exif.Photo.UserComment", "8"), 0,
                false},
        TagCase{"StandardAsTextOne", PanasonicWithStandard(StandardAsText("1")), 3, false},
        TagCase{"StandardOtherThanOneDecides", PanasonicWithStandard(Standard("6")), 1, false},
        TagCase{"StandardOutOfRangeDecides", PanasonicWithStandard(Standard("9")), 0, false},
        TagCase{"OneWithABlankIsNotExactlyOne", PanasonicWithStandard(StandardAsText(" 1")), 0,
                false},
        TagCase{"WithoutStandardIsNotConsulted",
                {{"Exif.Image.Make", "Panasonic", Exiv2::invalidTypeId},
                 {"Exif.Panasonic.Rotation", "6", Exiv2::invalidTypeId}},
                0,
                false}),
    CaseName());

TEST(OrientationKeyTest, AreInTheirOrder) {
  const std::vector<std::string> expected = {
      "Exif.Panasonic.Rotation",      "Exif.MinoltaCs5D.Rotation",    "Exif.MinoltaCs5D.Rotation2",
      "Exif.MinoltaCs7D.Rotation",    "Exif.Sony1MltCsA100.Rotation", "Exif.Sony1Cs.Rotation",
      "Exif.Sony2Cs.Rotation",        "Exif.Sony1Cs2.Rotation",       "Exif.Sony2Cs2.Rotation",
      "Exif.Sony1MltCsA100.Rotation",
  };
  std::vector<std::string> keys;
  keys.reserve(expected.size());
  for (const Exiv2::ExifKey& key : ThumbInfo::orientationKeyList_) keys.push_back(key.key());
  EXPECT_EQ(keys, expected);
  EXPECT_EQ(ThumbInfo::stdOrientationKey.key(), kStandardKey);
  EXPECT_EQ(ThumbInfo::rotateFlopMappingList_.size(), 8U);
}

class NoNumberTest : public OrientationTest, public testing::WithParamInterface<const char*> {
 protected:
  void WriteSource() const {
    kit::WriteJpeg(path_, {{64, 48}, 0, {}, {}, {StandardAsText(GetParam())}});
  }

  void ExpectPartlyRead(const ThumbInfo& info) const {
    EXPECT_FALSE(info.IsGood());
    EXPECT_EQ(info.GetMimeType(), "image/jpeg");
    EXPECT_EQ(info.GetWidth(), 64U);
    EXPECT_EQ(info.GetHeight(), 48U);
    EXPECT_EQ(info.GetRotate(), 2) << "the turns stay as they were";
  }
};

class NotNumericTest : public NoNumberTest {};

TEST_P(NotNumericTest, IsAnInvalidArgument) {
  WriteSource();
  ThumbInfo info(path_, kSmall, {120, 120});
  info.SetRotate(2);
  EXPECT_THROW(info.ExtractImgInfo(false), std::invalid_argument);
  ExpectPartlyRead(info);
}

INSTANTIATE_TEST_SUITE_P(Texts, NotNumericTest, testing::Values("left", "-", "x6", ""));

class OverflowTest : public NoNumberTest {};

TEST_P(OverflowTest, IsOutOfRange) {
  WriteSource();
  ThumbInfo info(path_, kSmall, {120, 120});
  info.SetRotate(2);
  EXPECT_THROW(info.ExtractImgInfo(false), std::out_of_range);
  ExpectPartlyRead(info);
}

INSTANTIATE_TEST_SUITE_P(Texts, OverflowTest,
                         testing::Values("2147483648", "-2147483649", "99999999999999999999"));

TEST_F(OrientationTest, LockIsFreeAfterAFailure) {
  kit::WriteJpeg(path_, {{64, 48}, 0, {}, {}, {StandardAsText("left")}});
  EXPECT_THROW(Inspect(), std::invalid_argument);
  EXPECT_TRUE(ThumbInfo::exiv2_mutex_.try_lock());
  ThumbInfo::exiv2_mutex_.unlock();
}

}  // namespace
}  // namespace vexathumb
