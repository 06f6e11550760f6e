// Crafted files through the whole chain: program, library and tools.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <string>

#include "kit/files.h"
#include "kit/mutator.h"
#include "kit/whole_picture.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;

constexpr int kFiles = 500;
constexpr uint32_t kSeed = 21;

TEST(HostileContent, IsBuiltOrRefusedAndLeavesNoPart) {
  const Album album;
  const char* const extensions[] = {".jpg", ".png", ".gif", ".heic", ".dng"};
  kit::Mutator mutator(kit::SmallPictures(), kSeed);
  std::map<std::string, std::string> sources;
  for (size_t i = 0; i < kFiles; ++i) {
    const std::string path = album / (std::to_string(i) + extensions[i % 5]);
    kit::WriteFile(path, sources[path] = mutator.Next());
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

}  // namespace
}  // namespace vexathumb::system_test
