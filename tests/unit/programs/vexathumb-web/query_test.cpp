#include "programs/vexathumb-web/query.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "programs/vexathumb-web/problem.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

struct Decoded {
  const char* name;
  std::string text;
  std::optional<std::string> bytes;
};

class Decoding : public testing::TestWithParam<Decoded> {};

TEST_P(Decoding, GivesTheBytesOnce) {
  EXPECT_EQ(service::PercentDecode(GetParam().text), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(, Decoding,
                         testing::Values(Decoded{"Empty", "", ""},
                                         Decoded{"Plain", "a/b c+d", "a/b c+d"},
                                         Decoded{"BothCases", "%2f%2F%fF", "//\xff"},
                                         Decoded{"OnlyOnce", "%252e", "%2e"},
                                         Decoded{"Null", "a%00b", std::string("a\0b", 3)},
                                         Decoded{"NoDigits", "%", std::nullopt},
                                         Decoded{"OneDigit", "a%2", std::nullopt},
                                         Decoded{"NotHexadecimal", "%g0", std::nullopt},
                                         Decoded{"SecondNotHexadecimal", "%0g", std::nullopt},
                                         Decoded{"Sign", "%-1", std::nullopt},
                                         Decoded{"Prefix", "%0x", std::nullopt}),
                         kit::CaseName());

TEST(Encoding, LeavesOnlyWhatNoAddressMisreads) {
  EXPECT_EQ(service::PercentEncode("Az09-._~"), "Az09-._~");
  EXPECT_EQ(service::PercentEncode("a b/%?#&+\"\n"), "a%20b%2F%25%3F%23%26%2B%22%0A");
  EXPECT_EQ(service::PercentEncode("\xc3\xa9\xff"), "%C3%A9%FF");
}

TEST(Encoding, IsUndoneByDecoding) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(service::PercentDecode(service::PercentEncode(all)), all);
}

TEST(Query, GivesValues) {
  const Query query("sort=name&offset=20&on=1&empty=&bare",
                    {"sort", "offset", "on", "empty", "bare"});
  EXPECT_EQ(query.Text("sort"), "name");
  EXPECT_EQ(query.Number("offset", 0, 20), 20);
  EXPECT_TRUE(query.IsSet("on"));
  EXPECT_EQ(query.Text("empty"), "");
  EXPECT_EQ(query.Text("bare"), "");
  EXPECT_EQ(query.Text("other"), std::nullopt);
  EXPECT_EQ(query.Number("other", 0, 1), std::nullopt);
  EXPECT_FALSE(query.IsSet("other"));
}

TEST(Query, DecodesNamesAndValues) {
  const Query query("%73tore=pixdeck%2Cdocdeck&b=a+b%26", {"store", "b"});
  EXPECT_EQ(query.Text("store"), "pixdeck,docdeck");
  EXPECT_EQ(query.Text("b"), "a b&");
}

struct Refused {
  const char* name;
  const char* query;
  const char* detail;
};

class RefusedQuery : public testing::TestWithParam<Refused> {};

TEST_P(RefusedQuery, IsABadRequest) {
  try {
    const Query query(GetParam().query, {"offset", "on"});
    query.Number("offset", 1, 1000);
    query.IsSet("on");
    FAIL() << "not refused";
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.status(), 400);
    EXPECT_EQ(problem.detail(), GetParam().detail);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedQuery,
    testing::Values(
        Refused{"Unknown", "offset=1&x=2", "There is no parameter \"x\" here."},
        Refused{"OtherCase", "Offset=1", "There is no parameter \"Offset\" here."},
        Refused{"Nameless", "=1", "There is no parameter \"\" here."},
        Refused{"EmptyPair", "offset=1&&on=1", "There is no parameter \"\" here."},
        Refused{"Twice", "offset=1&offset=1", "The parameter \"offset\" is given twice."},
        Refused{"TwiceEncoded", "offset=1&%6fffset=1", "The parameter \"offset\" is given twice."},
        Refused{"BadEncoding", "offset=%", "The parameters are not percent-encoded soundly."},
        Refused{"BadEncodingOfName", "%zz=1", "The parameters are not percent-encoded soundly."},
        Refused{"TooSmall", "offset=0", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"TooLarge", "offset=1001", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"Overflow", "offset=4294967297",
                "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"Negative", "offset=-1", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"Blank", "offset=+1", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"Fraction", "offset=1.5", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"NoNumber", "offset=", "The parameter \"offset\" is a number from 1 to 1000."},
        Refused{"SwitchOff", "on=0", "The parameter \"on\" is 1 or not given."},
        Refused{"SwitchWithoutValue", "on", "The parameter \"on\" is 1 or not given."}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::web
