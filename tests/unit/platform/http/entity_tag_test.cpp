#include "platform/http/entity_tag.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <tuple>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

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
    vexathumb::kit::CaseName());

TEST(EntityTag, IsStrongAndQuoted) {
  struct stat file {};
  file.st_ino = 0x12;
  file.st_size = 0x34;
  EXPECT_EQ(EntityTag(file), "\"12-34-0-0\"");
}

TEST(ClockTick, IsOverForAFileThatChangedWithinIt) {
  struct stat file {};
  clock_gettime(CLOCK_REALTIME_COARSE, &file.st_ctim);
  WaitOutClockTick(file);
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  EXPECT_NE(std::tie(now.tv_sec, now.tv_nsec), std::tie(file.st_ctim.tv_sec, file.st_ctim.tv_nsec));
}

struct List {
  const char* name;
  const char* tags;
  bool strong;  // whether "a" is in it
  bool weak;
};

class EntityTagIn : public testing::TestWithParam<List> {};

TEST_P(EntityTagIn, List) {
  const List& list = GetParam();
  EXPECT_EQ(IsListed("\"a\"", list.tags, TagComparison::kStrong), list.strong);
  EXPECT_EQ(IsListed("\"a\"", list.tags, TagComparison::kWeak), list.weak);
}

INSTANTIATE_TEST_SUITE_P(
    , EntityTagIn,
    testing::Values(
        List{"Same", "\"a\"", true, true}, List{"Other", "\"b\"", false, false},
        List{"Weak", "W/\"a\"", false, true}, List{"OtherWeak", "W/\"b\"", false, false},
        List{"Any", "*", true, true}, List{"AnyWithBlanks", " * ", true, true},
        List{"AnyAmongOthers", "\"b\", *", false, false}, List{"First", "\"a\", \"b\"", true, true},
        List{"Last", "\"b\",W/\"c\",\"a\"", true, true},
        List{"WeakThenStrong", "W/\"a\", \"a\"", true, true},
        List{"EmptyElements", ", ,\t\"a\" ,,", true, true},
        List{"CommaWithin", "\"x, y\", \"a\"", true, true},
        List{"QuotedWithin", "\"x\", \"b, \"a\"", false, false},
        List{"EmptyTag", "\"\"", false, false}, List{"Unquoted", "a", false, false},
        List{"Unclosed", "\"a", false, false}, List{"SmallMark", "w/\"a\"", false, false},
        List{"Joined", "\"a\"\"b\"", false, false}, List{"Longer", "\"ab\"", false, false},
        List{"AfterMalformed", "b, \"a\"", false, false}, List{"Empty", "", false, false},
        List{"MarkAlone", "W/", false, false}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
