#include "thumb/preview_choice.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kit/case_name.h"

namespace vexathumb {
namespace {

struct Preview {
  std::string mime;
  uint64_t width;
  uint64_t height;
};

PreviewFacts FactsOf(const Preview& preview) {
  return {preview.mime, preview.width, preview.height};
}

struct ChoiceCase {
  const char* name;
  std::vector<Preview> previews;
  uint32_t box_width;
  uint32_t box_height;
  int chosen;  // -1 for none
  std::string source_mime = "image/jpeg";
};

class PreviewRulesTest : public testing::TestWithParam<ChoiceCase> {};

TEST_P(PreviewRulesTest, GoesBySizeAndType) {
  const ChoiceCase& c = GetParam();
  const Preview* chosen =
      ChoosePreview(c.previews, FactsOf, c.source_mime, c.box_width, c.box_height);
  EXPECT_EQ(chosen, c.chosen < 0 ? nullptr : &c.previews[static_cast<size_t>(c.chosen)]);
}

const char kJpeg[] = "image/jpeg";
const char kTiff[] = "image/tiff";
const char kCr2[] = "image/x-canon-cr2";
constexpr uint32_t kNoLimit = 0xFFFFFFFF;

INSTANTIATE_TEST_SUITE_P(
    Sizes, PreviewRulesTest,
    testing::Values(
        ChoiceCase{"None", {}, 120, 120, -1}, ChoiceCase{"NoneForNoBox", {}, 0, 0, -1},
        ChoiceCase{"Largest", {{kJpeg, 100, 110}, {kJpeg, 120, 120}}, 120, 120, 1},
        ChoiceCase{"EarlierOfEquals", {{kJpeg, 100, 150}, {kJpeg, 150, 100}}, 120, 120, 0},
        ChoiceCase{"JustEnough", {{kJpeg, 108, 100}}, 120, 120, 0},
        ChoiceCase{"TooSmall", {{kJpeg, 107, 100}}, 120, 120, -1},
        ChoiceCase{"TwiceTheBox", {{kJpeg, 240, 240}}, 120, 120, 0},
        ChoiceCase{"FarTooBig", {{kJpeg, 241, 241}}, 120, 120, -1},
        ChoiceCase{"FarTooBigOnOneSide", {{kJpeg, 10000, 240}}, 120, 120, 0},
        ChoiceCase{
            "SmallerOneBesideFarTooBig", {{kJpeg, 120, 90}, {kJpeg, 800, 600}}, 120, 120, 0}),
    kit::CaseName());

// Areas of 32 bits.
INSTANTIATE_TEST_SUITE_P(
    Wrapping, PreviewRulesTest,
    testing::Values(
        ChoiceCase{"NoLimit", {{kJpeg, 160, 120}, {kJpeg, 1620, 1080}}, kNoLimit, kNoLimit, 1},
        ChoiceCase{"AreaOfNothing", {{kJpeg, 0x10000, 0x10000}}, 0x10000, 0x8000, -1},
        ChoiceCase{"AreaOfTheBox", {{kJpeg, 1, 1}}, 0x10000, 0x10000, 0},
        ChoiceCase{"DoubledSide", {{kJpeg, 160, 120}}, 0x80000000, 0x80000000, -1}),
    kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Types, PreviewRulesTest,
    testing::Values(
        ChoiceCase{"UndevelopedTiff", {{kJpeg, 108, 100}, {kTiff, 120, 120}}, 120, 120, 0, kCr2},
        ChoiceCase{"TiffOfOthers",
                   {{kJpeg, 108, 100}, {kTiff, 120, 120}},
                   120,
                   120,
                   1,
                   "image/x-nikon-nef"},
        ChoiceCase{"JpegOfThatFormat", {{kJpeg, 120, 120}}, 120, 120, 0, kCr2}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb
