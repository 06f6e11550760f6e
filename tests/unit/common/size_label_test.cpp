#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "common/util/util.h"

namespace vexathumb {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(SizeLabelTest, LabelsAndSuffixesAreFixed) {
  EXPECT_EQ(kSmall, "small");
  EXPECT_EQ(kMedium, "medium");
  EXPECT_EQ(kBig, "big");
  EXPECT_EQ(kLarge, "large");
  EXPECT_EQ(kExtraLarge, "xlarge");
  EXPECT_EQ(kOriginal, "original");
  EXPECT_EQ(kS, "S");
  EXPECT_EQ(kM, "M");
  EXPECT_EQ(kB, "B");
  EXPECT_EQ(kL, "L");
  EXPECT_EQ(kXL, "XL");
}

TEST(SizeLabelTest, LargeAndExtraLargeShareASuffix) {
  EXPECT_THAT(kSizeLabelMap_,
              ElementsAre(Pair("big", "B"), Pair("large", "XL"), Pair("medium", "M"),
                          Pair("small", "S"), Pair("xlarge", "XL")));
}

class NoSizeLabelTest : public testing::TestWithParam<const char*> {};

TEST_P(NoSizeLabelTest, HasNoSuffix) {
  EXPECT_EQ(kSizeLabelMap_.count(GetParam()), 0U);
  EXPECT_THROW(static_cast<void>(kSizeLabelMap_.at(GetParam())), std::out_of_range);
}

INSTANTIATE_TEST_SUITE_P(Labels, NoSizeLabelTest,
                         testing::Values("original", "L", "S", "Small", "LARGE", "big ", "",
                                         "__CUSTOM_SIZE__"));

TEST(ThumbDimensionTest, TakesWidthThenHeight) {
  const ThumbDimension dimension(320, 240);
  EXPECT_EQ(dimension.width_, 320U);
  EXPECT_EQ(dimension.height_, 240U);
}

TEST(ThumbDimensionTest, HoldsAllOf32Bits) {
  const ThumbDimension dimension(UINT32_MAX, 0x7FFFFFFF);
  EXPECT_EQ(dimension.width_, 4294967295U);
  EXPECT_EQ(dimension.height_, 2147483647U);
}

}  // namespace
}  // namespace vexathumb
