#include "platform/http/byte_ranges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

using Kind = RangeSelection::Kind;

constexpr char kWhole[] = "whole";
constexpr char kUnsatisfiable[] = "unsatisfiable";

// "first+length" of each part, or one of the words above.
std::string TextOf(const RangeSelection& selection) {
  if (selection.kind == Kind::kWhole) return kWhole;
  if (selection.kind == Kind::kUnsatisfiable) return kUnsatisfiable;
  std::string text;
  for (const ByteRange& part : selection.parts) {
    if (!text.empty()) text += ' ';
    text += std::to_string(part.offset) + "+" + std::to_string(part.length);
  }
  return text;
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

struct Case {
  const char* name;
  std::string header;
  off_t size;
  const char* selection;
};

class RangeHeader : public testing::TestWithParam<Case> {};

TEST_P(RangeHeader, Selects) {
  EXPECT_EQ(TextOf(SelectRanges(GetParam().header, GetParam().size)), GetParam().selection);
}

INSTANTIATE_TEST_SUITE_P(
    One, RangeHeader,
    testing::Values(
        Case{"FirstByte", "bytes=0-0", 100, "0+1"}, Case{"LastByte", "bytes=99-99", 100, "99+1"},
        Case{"All", "bytes=0-99", 100, "0+100"}, Case{"Middle", "bytes=10-19", 100, "10+10"},
        Case{"Open", "bytes=90-", 100, "90+10"}, Case{"OpenFromZero", "bytes=0-", 100, "0+100"},
        Case{"PastTheEnd", "bytes=90-1000", 100, "90+10"},
        Case{"Suffix", "bytes=-10", 100, "90+10"}, Case{"SuffixOfAll", "bytes=-100", 100, "0+100"},
        Case{"SuffixOfMore", "bytes=-1000", 100, "0+100"},
        Case{"LeadingZeros", "bytes=0010-0019", 100, "10+10"},
        Case{"UnitInCapitals", "BYTES=1-2", 100, "1+2"}, Case{"Blanks", "bytes= 1-2\t", 100, "1+2"},
        Case{"HugeLast", "bytes=1-99999999999999999999999", 100, "1+99"},
        Case{"HugeSuffix", "bytes=-99999999999999999999999", 100, "0+100"},
        Case{"BigFile", "bytes=5000000000-5000000009", 6'000'000'000, "5000000000+10"}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Unsatisfiable, RangeHeader,
    testing::Values(Case{"BehindTheEnd", "bytes=100-", 100, kUnsatisfiable},
                    Case{"FarBehind", "bytes=200-300", 100, kUnsatisfiable},
                    Case{"HugeFirst", "bytes=99999999999999999999999-", 100, kUnsatisfiable},
                    Case{"EmptySuffix", "bytes=-0", 100, kUnsatisfiable},
                    Case{"All", "bytes=100-101,-0,200-", 100, kUnsatisfiable},
                    Case{"OfAnEmptyFile", "bytes=0-", 0, kUnsatisfiable},
                    Case{"EmptySuffixOfAnEmptyFile", "bytes=-0", 0, kUnsatisfiable}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Several, RangeHeader,
    testing::Values(Case{"Apart", "bytes=0-1,5-6", 100, "0+2 5+2"},
                    Case{"InTheHeadersOrder", "bytes=50-59,0-9,-10", 100, "50+10 0+10 90+10"},
                    Case{"Overlapping", "bytes=0-10,5-20", 100, "0+21"},
                    Case{"Touching", "bytes=0-4,5-9", 100, "0+10"},
                    Case{"AlmostTouching", "bytes=0-4,6-9", 100, "0+5 6+4"},
                    Case{"TheSame", "bytes=5-9,5-9", 100, "5+5"},
                    Case{"Within", "bytes=5-9,0-50", 100, "0+51"},
                    Case{"BridgedByALaterOne", "bytes=20-29,0-9,50-59,10-19", 100, "0+30 50+10"},
                    Case{"OneBehindTheEnd", "bytes=0-1,200-300", 100, "0+2"},
                    Case{"EmptyElements", "bytes=,0-1,, 5-6 ,", 100, "0+2 5+2"},
                    Case{"AsManyAsAreServed", "bytes=" + Repeated("0-0,", 31) + "5-5", 100,
                         "0+1 5+1"}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Ignored, RangeHeader,
    testing::Values(
        Case{"Empty", "", 100, kWhole}, Case{"OtherUnit", "lines=0-1", 100, kWhole},
        Case{"NoUnit", "0-1", 100, kWhole}, Case{"NoRange", "bytes=", 100, kWhole},
        Case{"CommasAlone", "bytes=,,", 100, kWhole}, Case{"DashAlone", "bytes=-", 100, kWhole},
        Case{"Backwards", "bytes=5-4", 100, kWhole}, Case{"NoDash", "bytes=5", 100, kWhole},
        Case{"Letters", "bytes=a-b", 100, kWhole}, Case{"Negative", "bytes=--5", 100, kWhole},
        Case{"Plus", "bytes=+1-2", 100, kWhole}, Case{"Hexadecimal", "bytes=0x1-2", 100, kWhole},
        Case{"BlankWithin", "bytes=1 -2", 100, kWhole}, Case{"Colon", "bytes:0-1", 100, kWhole},
        Case{"BlankBeforeEquals", "bytes =0-1", 100, kWhole},
        Case{"ThreeNumbers", "bytes=1-2-3", 100, kWhole},
        Case{"OneMalformedOfTwo", "bytes=0-1,x", 100, kWhole},
        Case{"OneBackwardsOfTwo", "bytes=0-1,5-4", 100, kWhole},
        Case{"TooMany", "bytes=" + Repeated("0-0,", 33), 100, kWhole},
        Case{"SuffixOfAnEmptyFile", "bytes=-5", 0, kWhole}),
    vexathumb::kit::CaseName());

// What a random header asks for, as text and as the bytes it covers.
struct RandomRanges {
  std::string header = "bytes=";
  std::vector<bool> covered;
};

RandomRanges MakeRandomRanges(std::mt19937* random, int size) {
  const auto number = [random](int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(*random);
  };
  RandomRanges ranges;
  ranges.covered.resize(static_cast<size_t>(size));
  const int count = number(1, 8);
  for (int i = 0; i < count; ++i) {
    int first = number(0, size + 3);
    int last = number(first, size + 3);
    if (i > 0) ranges.header += ',';
    switch (number(0, 2)) {
      case 0:
        ranges.header += std::to_string(first) + "-" + std::to_string(last);
        break;
      case 1:
        ranges.header += std::to_string(first) + "-";
        last = size;
        break;
      default:
        ranges.header += "-" + std::to_string(first);
        first = std::max(0, size - first);
        last = size;
        break;
    }
    for (int at = first; at <= last && at < size; ++at) {
      ranges.covered[static_cast<size_t>(at)] = true;
    }
  }
  return ranges;
}

TEST(RandomRangeHeaders, SelectEveryByteAskedForOnce) {
  std::mt19937 random(20261120);  // NOLINT(cert-msc*): the same rows every time
  for (int round = 0; round < 20'000; ++round) {
    const int size = std::uniform_int_distribution<int>(1, 40)(random);
    const RandomRanges asked = MakeRandomRanges(&random, size);
    const RangeSelection selection = SelectRanges(asked.header, size);
    std::vector<bool> covered(static_cast<size_t>(size));
    for (const ByteRange& part : selection.parts) {
      ASSERT_GT(part.length, 0) << asked.header;
      ASSERT_LE(part.offset + part.length, size) << asked.header;
      for (off_t at = part.offset; at < part.offset + part.length; ++at) {
        ASSERT_FALSE(covered[static_cast<size_t>(at)]) << asked.header << " of " << size;
        covered[static_cast<size_t>(at)] = true;
      }
    }
    ASSERT_EQ(covered, asked.covered) << asked.header << " of " << size;
    const bool any = std::find(covered.begin(), covered.end(), true) != covered.end();
    ASSERT_EQ(selection.kind, any ? Kind::kParts : Kind::kUnsatisfiable) << asked.header;
  }
}

}  // namespace
}  // namespace vexaplatform
