#include "platform/http/http_date.h"

#include <gtest/gtest.h>

#include <clocale>
#include <optional>
#include <string>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

struct Date {
  const char* name;
  time_t time;
  const char* text;
};

class HttpDateOf : public testing::TestWithParam<Date> {};

TEST_P(HttpDateOf, Time) { EXPECT_EQ(HttpDate(GetParam().time), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(
    , HttpDateOf,
    testing::Values(Date{"Epoch", 0, "Thu, 01 Jan 1970 00:00:00 GMT"},
                    Date{"OneDigitDay", 784111777, "Sun, 06 Nov 1994 08:49:37 GMT"},
                    Date{"LeapDay", 1709210096, "Thu, 29 Feb 2024 12:34:56 GMT"},
                    Date{"BeforeTheEpoch", -1, "Wed, 31 Dec 1969 23:59:59 GMT"},
                    Date{"After2038", 4102444800, "Fri, 01 Jan 2100 00:00:00 GMT"}),
    vexathumb::kit::CaseName());

struct Text {
  const char* name;
  const char* text;
  std::optional<time_t> time;
};

class ParsedHttpDate : public testing::TestWithParam<Text> {};

TEST_P(ParsedHttpDate, IsTheTimeOfTheText) {
  constexpr time_t kNow = 1'795'000'000;  // 18 November 2026
  EXPECT_EQ(ParseHttpDate(GetParam().text, kNow), GetParam().time);
}

constexpr std::optional<time_t> kNone;

INSTANTIATE_TEST_SUITE_P(
    , ParsedHttpDate,
    testing::Values(
        Text{"Usual", "Sun, 06 Nov 1994 08:49:37 GMT", 784111777},
        Text{"Rfc850", "Sunday, 06-Nov-94 08:49:37 GMT", 784111777},
        Text{"Asctime", "Sun Nov  6 08:49:37 1994", 784111777},
        Text{"AsctimeWithTwoDigitDay", "Wed Nov 16 08:49:37 1994", 784975777},
        Text{"Epoch", "Thu, 01 Jan 1970 00:00:00 GMT", 0},
        Text{"BeforeTheEpoch", "Wed, 31 Dec 1969 23:59:59 GMT", -1},
        Text{"After2038", "Fri, 01 Jan 2100 00:00:00 GMT", 4102444800},
        Text{"LeapDay", "Thu, 29 Feb 2024 12:34:56 GMT", 1709210096},
        Text{"LeapSecond", "Sat, 31 Dec 2016 23:59:60 GMT", 1483228799},
        Text{"TwoDigitsUpToFiftyYearsAhead", "Wednesday, 01-Jan-76 00:00:00 GMT", 3345062400},
        Text{"TwoDigitsMoreThanFiftyYearsAhead", "Saturday, 01-Jan-77 00:00:00 GMT", 220924800},
        Text{"NoSuchDay", "Wed, 30 Feb 2022 00:00:00 GMT", kNone},
        Text{"NoSuchMonth", "Sun, 06 Foo 1994 08:49:37 GMT", kNone},
        Text{"NoSuchHour", "Sun, 06 Nov 1994 25:49:37 GMT", kNone},
        Text{"OtherZone", "Sun, 06 Nov 1994 08:49:37 CET", kNone},
        Text{"NumericZone", "Sun, 06 Nov 1994 08:49:37 +0000", kNone},
        Text{"WithoutZone", "Sun, 06 Nov 1994 08:49:37", kNone},
        Text{"MoreBehind", "Sun, 06 Nov 1994 08:49:37 GMT; length=3", kNone},
        Text{"Iso", "1994-11-06T08:49:37Z", kNone}, Text{"Number", "784111777", kNone},
        Text{"EntityTag", "\"abc\"", kNone}, Text{"Empty", "", kNone}),
    vexathumb::kit::CaseName());

TEST(HttpDate, IsTheSameInEveryLocale) {
  const std::string kept = setlocale(LC_ALL, nullptr);
  for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", "fr_FR.UTF-8"}) {
    setlocale(LC_ALL, locale);  // those that this machine has
    EXPECT_EQ(HttpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT", 0), 784111777);
  }
  setlocale(LC_ALL, kept.c_str());
}

}  // namespace
}  // namespace vexaplatform
