#include "programs/vexathumb-web/host_name.h"

#include <gtest/gtest.h>

#include "kit/case_name.h"

namespace vexathumb::web {
namespace {

struct HostCase {
  const char* name;
  const char* host;
  bool is_one;
};

class HostName : public testing::TestWithParam<HostCase> {};

TEST_P(HostName, IsComparedWithoutItsPort) {
  const std::vector<std::string> names = {"localhost", "127.0.0.1", "[::1]", "nas.example"};
  EXPECT_EQ(IsOneOfHosts(GetParam().host, names), GetParam().is_one);
}

INSTANTIATE_TEST_SUITE_P(
    , HostName,
    testing::Values(
        HostCase{"None", "", true}, HostCase{"Name", "localhost", true},
        HostCase{"NameAndPort", "localhost:8080", true},
        HostCase{"Capitals", "NAS.Example:80", true}, HostCase{"Address", "127.0.0.1:8080", true},
        HostCase{"Address6", "[::1]", true}, HostCase{"Address6AndPort", "[::1]:8080", true},
        HostCase{"DotAtItsEnd", "localhost.:80", true}, HostCase{"Other", "evil.example", false},
        HostCase{"OtherAndPort", "evil.example:8080", false},
        HostCase{"Longer", "localhost.evil.example", false}, HostCase{"PartOfOne", "nas", false},
        HostCase{"OtherAddress", "[::2]", false}, HostCase{"OnlyAPort", ":80", false},
        HostCase{"Dots", "..", false}),
    kit::CaseName());

TEST(HostNames, MayBeAny) {
  EXPECT_TRUE(IsOneOfHosts("evil.example", {"*"}));
  EXPECT_FALSE(IsOneOfHosts("*", {"localhost"}));
}

}  // namespace
}  // namespace vexathumb::web
