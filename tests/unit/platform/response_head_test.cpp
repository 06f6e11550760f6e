#include "response_head.h"

#include <gtest/gtest.h>

#include <string>

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
    [](const auto& test) { return std::string(test.param.name); });

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
        Name{"Delete", "a\x7f", "filename=\"a_\"; filename*=UTF-8''a%7F"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(HeaderValue, HasNoControlCharactersAndIsNotEmpty) {
  EXPECT_TRUE(IsHeaderValue("image/jpeg"));
  EXPECT_TRUE(IsHeaderValue("text/plain; charset=utf-8"));
  for (const char* text : {"", "a\r\nb", "a\nb", "a\rb", "a\tb", "a\x7f"}) {
    EXPECT_FALSE(IsHeaderValue(text)) << text;
  }
  EXPECT_FALSE(IsHeaderValue(nullptr));
}

struct Change {
  const char* name;
  void (*apply)(struct stat*);
};

class EntityTagAfter : public testing::TestWithParam<Change> {};

TEST_P(EntityTagAfter, ChangeIsAnother) {
  struct stat file {};
  file.st_mtim = {1'700'000'000, 5};
  const std::string before = EntityTag(file);
  EXPECT_EQ(EntityTag(file), before);
  GetParam().apply(&file);
  EXPECT_NE(EntityTag(file), before);
}

INSTANTIATE_TEST_SUITE_P(
    , EntityTagAfter,
    testing::Values(Change{"OfTheFile", [](struct stat* file) { file->st_ino = 7; }},
                    Change{"OfTheSize", [](struct stat* file) { file->st_size = 7; }},
                    Change{"OfTheTime", [](struct stat* file) { file->st_mtim.tv_nsec = 7; }},
                    Change{"UnderATimeSetBack",
                           [](struct stat* file) { file->st_ctim.tv_nsec = 7; }}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(EntityTag, IsStrongAndQuoted) {
  struct stat file {};
  file.st_ino = 0x12;
  file.st_size = 0x34;
  EXPECT_EQ(EntityTag(file), "\"12-34-0-0\"");
}

}  // namespace
}  // namespace vexaplatform
