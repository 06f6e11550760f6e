#include "platform/tool/tool_environment.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/tool/tool_policy.h"

namespace vexaplatform {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

constexpr char kHugePages[] = "GLIBC_TUNABLES=glibc.malloc.hugetlb=1";

struct EnvironmentCase {
  const char* name;
  std::vector<std::string> vector;  // "SOURCE" stands for the source's path
  uintmax_t source_size;            // bytes
  const char* source_head;
  bool huge_pages;
};

void PrintTo(const EnvironmentCase& environment, std::ostream* out) { *out << environment.name; }

class ToolEnvironmentOf : public testing::TestWithParam<EnvironmentCase> {
 protected:
  static std::vector<std::string> Make(std::vector<std::string> vector, const std::string& source) {
    for (std::string& argument : vector) {
      if (argument.compare(0, 6, "SOURCE") == 0) argument.replace(0, 6, source);
    }
    const Tool tool = ToolOf(vector[0]);
    return ToolEnvironment(tool, FindToolPaths(tool, vector), ToolLimits(), "/private");
  }

  vexathumb::kit::TempDir folder_;
};

TEST_P(ToolEnvironmentOf, HasHugePagesWhereTheyPay) {
  const std::string source = folder_ / "source";
  vexathumb::kit::WriteFile(source, GetParam().source_head);
  std::filesystem::resize_file(source, GetParam().source_size);
  const auto environment = Make(GetParam().vector, source);
  if (GetParam().huge_pages) {
    EXPECT_THAT(environment, Contains(kHugePages));
  } else {
    EXPECT_THAT(environment, Not(Contains(kHugePages)));
  }
}

constexpr uintmax_t kSmall = 100'000;
constexpr uintmax_t kLarge = 5'000'000;
const std::vector<std::string> kStill = {"convert", "-strip", "SOURCE[0]", "/d/a.jpg"};

INSTANTIATE_TEST_SUITE_P(
    , ToolEnvironmentOf,
    testing::Values(
        EnvironmentCase{"SmallStill", kStill, kSmall, "\x89PNG", false},
        EnvironmentCase{"LargeStill", kStill, kLarge, "\x89PNG", true},
        EnvironmentCase{"LargeHeic", kStill, kLarge, "abcdftypheic", false},
        EnvironmentCase{
            "Animation", {"convert", "SOURCE", "-coalesce", "/t/a"}, kSmall, "GIF89a", true},
        EnvironmentCase{"Turn", {"jpegtran", "-rotate", "90", "SOURCE"}, kSmall, "\xff\xd8", true},
        EnvironmentCase{"Decoder", {"djpeg", "-bmp", "SOURCE"}, kLarge, "\xff\xd8", false}),
    vexathumb::kit::CaseName());

TEST(ToolEnvironment, OfConvertHasPolicyLimitsAndTemporaryFolder) {
  const std::vector<std::string> vector = {"convert", "-strip", "/s/a[0]", "/d/a.jpg"};
  const auto environment = ToolEnvironment(Tool::kConvert, FindToolPaths(Tool::kConvert, vector),
                                           ToolLimits(), "/private");
  EXPECT_THAT(environment,
              testing::IsSupersetOf({"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "JPEGMEM=512M",
                                     "TMPDIR=/private", "MAGICK_TEMPORARY_PATH=/private",
                                     "MAGICK_THREAD_LIMIT=1", "MAGICK_LIST_LENGTH_LIMIT=16"}));
  ASSERT_FALSE(ToolPolicyFolder().empty());
  EXPECT_THAT(environment, Contains("MAGICK_CONFIGURE_PATH=" + ToolPolicyFolder()));
}

TEST(ToolEnvironment, OfAnAnimationLimitsItsFramesByThePolicyAlone) {
  const std::vector<std::string> vector = {"convert", "/s/a", "-coalesce", "/t/a"};
  const auto environment =
      ToolEnvironment(Tool::kConvert, FindToolPaths(Tool::kConvert, vector), ToolLimits(), "");
  EXPECT_THAT(environment, Not(Contains(StartsWith("MAGICK_LIST_LENGTH_LIMIT="))));
}

TEST(ToolEnvironment, OfAWebpLimitsItsFramesByThePolicyAlone) {
  const vexathumb::kit::TempDir folder;
  vexathumb::kit::WriteFile(folder / "a", std::string("RIFF\0\0\0\0WEBPVP8X", 16));
  const std::vector<std::string> vector = {"convert", "-strip", (folder / "a") + "[0]", "/d/a.jpg"};
  const auto environment =
      ToolEnvironment(Tool::kConvert, FindToolPaths(Tool::kConvert, vector), ToolLimits(), "");
  EXPECT_THAT(environment, Not(Contains(StartsWith("MAGICK_LIST_LENGTH_LIMIT="))));
}

}  // namespace
}  // namespace vexaplatform
