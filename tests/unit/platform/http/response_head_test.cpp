#include "platform/http/response_head.h"

#include <gtest/gtest.h>

namespace vexaplatform {
namespace {

TEST(HeaderValue, HasNoControlCharactersAndIsNotEmpty) {
  EXPECT_TRUE(IsHeaderValue("image/jpeg"));
  EXPECT_TRUE(IsHeaderValue("text/plain; charset=utf-8"));
  for (const char* text : {"", "a\r\nb", "a\nb", "a\rb", "a\tb", "a\x7f"}) {
    EXPECT_FALSE(IsHeaderValue(text)) << text;
  }
  EXPECT_FALSE(IsHeaderValue(nullptr));
}

}  // namespace
}  // namespace vexaplatform
