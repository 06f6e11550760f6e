#include "common/error/error.h"

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

#include "kit/case_name.h"

namespace vexathumb {
namespace {

struct ErrorCase {
  const char* name;
  Error error;
  int code;
  const char* what;
  const char* message;
};

class ErrorTest : public testing::TestWithParam<ErrorCase> {};

TEST_P(ErrorTest, PutsTheCodeBeforeTheMessage) {
  const ErrorCase& c = GetParam();
  EXPECT_EQ(c.error.Code(), c.code);
  EXPECT_STREQ(c.error.what(), c.what);
  EXPECT_EQ(c.error.msg_, c.message);
}

TEST_P(ErrorTest, CopiesEverything) {
  const ErrorCase& c = GetParam();
  const Error copy(c.error);
  EXPECT_EQ(copy.Code(), c.code);
  EXPECT_STREQ(copy.what(), c.what);
  EXPECT_EQ(copy.msg_, c.message);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, ErrorTest,
    testing::Values(ErrorCase{"CodeAloneKeepsTheTrailingBlank", Error(601), 601, "(E601) ", ""},
                    ErrorCase{"NamedCode", Error(Error::kNoExifMeta), 602, "(E602) ", ""},
                    ErrorCase{"Message", Error(603, "x"), 603, "(E603) x", "x"},
                    ErrorCase{"EmptyMessage", Error(603, ""), 603, "(E603) ", ""},
                    ErrorCase{"MessageWithConversions", Error(601, "100%s"), 601, "(E601) 100%s",
                              "100%s"},
                    ErrorCase{"NegativeCode", Error(-5), -5, "(E-5) ", ""},
                    ErrorCase{"CodeOutsideTheRange", Error(0, "zero"), 0, "(E0) zero", "zero"},
                    ErrorCase{"SmallestCode", Error(INT_MIN), INT_MIN, "(E-2147483648) ", ""}),
    kit::CaseName());

TEST(ErrorCodeTest, NumbersAreFixed) {
  EXPECT_EQ(Error::kThumbErrorMinCode, 600);
  EXPECT_EQ(Error::kInternalError, 601);
  EXPECT_EQ(Error::kNoExifMeta, 602);
  EXPECT_EQ(Error::kFileNotFound, 603);
  EXPECT_EQ(Error::kDummyEndCode, 604);
  const Error::CODE code = Error::kNoExifMeta;
  EXPECT_EQ(Error(code).Code(), 602);
}

TEST(ErrorTypeTest, IsCaughtAsARuntimeErrorThrownByAnotherLibrary) {
  static_assert(std::is_base_of_v<std::runtime_error, Error>);
  static_assert(std::has_virtual_destructor_v<Error>);
  try {
    throw Error(603, "gone");
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "(E603) gone");
  }
}

}  // namespace
}  // namespace vexathumb
