// Crafted files through the whole chain: program, library and tools.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <map>
#include <string>

#include "kit/files.h"
#include "kit/hostile/mutator.h"
#include "kit/pictures/whole_picture.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

#ifdef VEXATHUMB_SANITIZED  // the tools are not, and what leads to them is elsewhere
constexpr int kFiles = 200;
const auto kEngines = testing::Values("auto");
#else
constexpr int kFiles = 500;
const auto kEngines = testing::Values("auto", "tools");
#endif
constexpr uint32_t kSeed = 21;

class HostileContent : public testing::TestWithParam<const char*> {
 protected:
  HostileContent() { album_.UseEngine(GetParam()); }

  Album album_;
};

INSTANTIATE_TEST_SUITE_P(Engines, HostileContent, kEngines,
                         [](const auto& test) { return std::string(test.param); });

TEST_P(HostileContent, IsBuiltOrRefusedAndLeavesNoPart) {
  const Album& album = album_;
  const char* const extensions[] = {".jpg", ".png", ".gif", ".heic", ".dng"};
  kit::Mutator mutator(kit::SmallPictures(), kSeed);
  std::map<std::string, std::string> sources;
  for (size_t i = 0; i < kFiles; ++i) {
    const std::string path = album / (std::to_string(i) + extensions[i % 5]);
    kit::WriteFile(path, sources[path] = mutator.Next());
    kit::Age(path);  // what seems cut short may be on its way otherwise
  }
  const RunResult run = album.Run({"build", "--json", "--sizes", "small", album.pictures()});
  EXPECT_THAT(run.exit_code, AnyOf(0, 1)) << run.err;
  EXPECT_THAT(run.leftovers, IsEmpty());
  const std::vector<Json> told = run.json_lines();
  ASSERT_EQ(told.size(), kFiles + 1U);  // and what they come to
  const Json& sum = told.back()["summary"];
  std::cout << kFiles << " files: " << sum["built"] << " built, " << sum["failed"] << " failed\n";
  EXPECT_GT(sum["built"], 0);
  EXPECT_GT(sum["failed"], 0);
  EXPECT_THAT(kit::PartialThumbnails(album.pictures()), IsEmpty());
  for (const auto& [path, bytes] : sources) EXPECT_EQ(kit::ReadFile(path), bytes) << path;
}

// Whatever has broken a harness, under the names of several types.
TEST_P(HostileContent, ThatOnceBrokeAHarnessIsAnsweredLikeAnyBadFile) {
  const Album& album = album_;
  for (const auto& found : std::filesystem::directory_iterator(FOUND_BY_FUZZING "/thumb_info")) {
    for (const char* extension : {".jpg", ".cr2", ".tif", ".heic"}) {
      const std::string file = album / ("a" + std::string(extension));
      SCOPED_TRACE(found.path().filename().string() + extension);
      kit::WriteFile(file, kit::ReadFile(found.path()));
      kit::Age(file);
      EXPECT_THAT(album.Run({"get", "--size", "medium", file, "-o", album / "out"}).exit_code,
                  AnyOf(0, 1));
      EXPECT_THAT(album.Run({"info", file}).exit_code, AnyOf(0, 1));
      const RunResult build = album.Run({"build", file});
      EXPECT_THAT(build.exit_code, AnyOf(0, 1)) << build.err;
      EXPECT_THAT(build.err, Not(HasSubstr("internal error")));
      EXPECT_THAT(kit::PartialThumbnails(album.pictures()), IsEmpty());
    }
  }
}

}  // namespace
}  // namespace vexathumb::system_test
