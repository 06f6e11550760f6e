#include "posix/random_name.h"

#include <gtest/gtest.h>

#include <set>

namespace vexathumb::posix {
namespace {

TEST(RandomNameTest, IsOfTheLengthAndTheDigitsThatItSays) {
  std::set<char> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = RandomName();
    EXPECT_EQ(name.size(), kRandomNameLength);
    EXPECT_EQ(name.find_first_not_of(kRandomNameDigits), std::string::npos);
    seen.insert(name.begin(), name.end());
  }
  EXPECT_EQ(seen.size(), 32U) << "every digit is chosen";
}

TEST(RandomNameTest, NoTwoAreTheSame) {
  std::set<std::string> names;
  for (int i = 0; i < 1000; ++i) names.insert(RandomName());
  EXPECT_EQ(names.size(), 1000U);
}

}  // namespace
}  // namespace vexathumb::posix
