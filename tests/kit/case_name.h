#ifndef VEXATHUMB_TESTS_KIT_CASE_NAME_H_
#define VEXATHUMB_TESTS_KIT_CASE_NAME_H_

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace vexathumb::kit {

// Names the cases of a table by their member `name`:
//
//   INSTANTIATE_TEST_SUITE_P(Formats, MimeTypeTest, ValuesIn(kCases), CaseName());
struct CaseName {
  template <typename Case>
  std::string operator()(const testing::TestParamInfo<Case>& info) const {
    return info.param.name;
  }
};

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_CASE_NAME_H_
