#include "programs/vexathumb/quantity.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace vexathumb::program {
namespace {

TEST(DurationText, IsInTheLargestUnitThatFits) {
  const std::pair<double, const char*> cases[] = {
      {0, "0.0 s"},        {0.42, "0.4 s"},      {9.94, "9.9 s"},       {9.96, "10 s"},
      {99.4, "99 s"},      {99.6, "2 min"},      {60 * 99.4, "99 min"}, {60 * 99.6, "1 h 40 min"},
      {7500, "2 h 5 min"}, {86400, "24 h 0 min"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(DurationText(seconds), text) << seconds;
}

TEST(SizeText, IsInTheLargestUnitThatFits) {
  const std::pair<uint64_t, const char*> cases[] = {{0, "0 bytes"},
                                                    {999, "999 bytes"},
                                                    {1000, "1.0 kB"},
                                                    {9949, "9.9 kB"},
                                                    {9950, "10 kB"},
                                                    {999'499, "999 kB"},
                                                    {999'500, "1.0 MB"},
                                                    {1'700'000'000, "1.7 GB"},
                                                    {4'200'000'000'000, "4.2 TB"},
                                                    {5'000'000'000'000'000, "5000 TB"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(SizeText(bytes), text) << bytes;
}

TEST(RateText, HasADecimalBelowTen) {
  EXPECT_EQ(RateText(0.44), "0.4/s");
  EXPECT_EQ(RateText(119.7), "120/s");
}

}  // namespace
}  // namespace vexathumb::program
