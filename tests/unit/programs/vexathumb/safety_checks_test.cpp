#include "programs/vexathumb/safety_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kit/case_name.h"

namespace vexathumb::program {
namespace {

struct KernelCase {
  const char* name;
  int landlock;
  bool seccomp;
  bool usage;
  std::vector<std::string> lacking;  // subjects that are warned of
};

void PrintTo(const KernelCase& kernel, std::ostream* out) { *out << kernel.name; }

class ConfinementOfAKernel : public testing::TestWithParam<KernelCase> {};

TEST_P(ConfinementOfAKernel, IsNotCalledSoundWhereItLacksSomething) {
  vexaplatform::Confinement confinement;
  confinement.landlock = GetParam().landlock;
  confinement.seccomp = GetParam().seccomp;
  confinement.usage = GetParam().usage;
  confinement.policy = "/usr/share";
  confinement.temp_dir = "/tmp";
  std::vector<std::string> lacking;
  for (const Finding& finding : CheckConfinement(confinement)) {
    if (finding.level == Level::kOk) continue;
    lacking.push_back(finding.subject);
    EXPECT_FALSE(finding.advice.empty()) << finding.subject;
  }
  EXPECT_EQ(lacking, GetParam().lacking);
}

INSTANTIATE_TEST_SUITE_P(
    , ConfinementOfAKernel,
    testing::Values(
        KernelCase{"Recent", 7, true, true, {}}, KernelCase{"BeforeSignals", 5, true, true, {}},
        KernelCase{"BeforeTruncation", 2, true, true, {}},
        KernelCase{"WithoutLandlock", 0, true, true, {"Landlock", "truncation"}},
        KernelCase{"WithoutCountsOfUsage", 7, true, false, {"usage"}},
        KernelCase{"WithoutSeccomp", 7, false, true, {"seccomp"}},
        KernelCase{"BeforeSignalsWithoutSeccomp", 5, false, true, {"seccomp", "signals"}},
        KernelCase{
            "BeforeTruncationWithoutSeccomp", 2, false, true, {"seccomp", "truncation", "signals"}},
        KernelCase{
            "WithNeither", 0, false, true, {"Landlock", "seccomp", "truncation", "signals"}}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::program
