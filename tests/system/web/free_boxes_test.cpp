// Boxes that clients choose take a bounded part of a share's volume.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "kit/files.h"
#include "kit/run_tool.h"
#include "system/web/processes.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

uintmax_t BytesStoredIn(const std::string& folder) {
  uintmax_t bytes = 0;
  std::error_code error;
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder, error)) {
    const uintmax_t size = file.is_regular_file(error) ? file.file_size(error) : 0;
    bytes += error ? 0 : size;
  }
  return bytes;
}

TEST(FreeBoxes, TakeNoMoreOfAShareThanTheSettingsAllow) {
  constexpr uintmax_t kMost = 1 << 20;
  SiteOptions options;
  options.workers = 1;
  options.service = "free_box_store_space = 1\n";
  const WebSite site(options);
  kit::RunTool(
      {"/usr/bin/convert", "-size", "800x600", "xc:gray", "+noise", "Random", site.Photo("a.png")});
  kit::Age(site.Photo("a.png"));
  uintmax_t largest = 0;
  for (int side = 300; side < 316; ++side) {
    const std::string box = std::to_string(side) + "x" + std::to_string(side);
    ASSERT_EQ(site.Get("/thumb/photos/a.png?box=" + box).status, 200);
    ASSERT_TRUE(Eventually([&] { return BytesStoredIn(site.Photo(".vexaea")) <= kMost; })) << box;
    largest = std::max(largest, BytesStoredIn(site.Photo(".vexaea")));
  }
  EXPECT_GT(largest, kMost / 2);
}

}  // namespace
}  // namespace vexathumb::web_test
