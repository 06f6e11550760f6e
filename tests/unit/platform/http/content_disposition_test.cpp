#include "platform/http/content_disposition.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

struct Name {
  const char* name;
  const char* file;
  const char* value;  // after "inline; "
};

class ContentDispositionOf : public testing::TestWithParam<Name> {};

TEST_P(ContentDispositionOf, Name) {
  EXPECT_EQ(ContentDisposition(GetParam().file), "inline; " + std::string(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(
    , ContentDispositionOf,
    testing::Values(
        Name{"Plain", "THUMB_S.jpg", "filename=\"THUMB_S.jpg\""},
        Name{"Blanks", "a b.jpg", "filename=\"a b.jpg\""}, Name{"Empty", "", "filename=\"\""},
        Name{"Quotes", "a\"b\\c.jpg", "filename=\"a_b_c.jpg\"; filename*=UTF-8''a%22b%5Cc.jpg"},
        Name{"Lines", "a\r\nSet-Cookie: b",
             "filename=\"a__Set-Cookie: b\"; filename*=UTF-8''a%0D%0ASet-Cookie%3A%20b"},
        Name{"Percent", "100%.jpg", "filename=\"100_.jpg\"; filename*=UTF-8''100%25.jpg"},
        Name{"Umlaut", "\xc3\xbc.jpg", "filename=\"__.jpg\"; filename*=UTF-8''%C3%BC.jpg"},
        Name{"Latin1", "\xfc.jpg", "filename=\"_.jpg\""},
        Name{"CutCharacter", "a\xe2\x82", "filename=\"a__\""},
        Name{"Emoji", "\xf0\x9f\x98\x80", "filename=\"____\"; filename*=UTF-8''%F0%9F%98%80"},
        Name{"Surrogate", "\xed\xa0\x80", "filename=\"___\""},
        Name{"Overlong", "\xc0\xaf", "filename=\"__\""},
        Name{"Delete", "a\x7f", "filename=\"a_\"; filename*=UTF-8''a%7F"}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
