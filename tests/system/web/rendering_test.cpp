// vexathumb-web with the renderer, as it is installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

namespace fs = std::filesystem;

class RenderedSite : public testing::Test {
 protected:
  static SiteOptions Options() {
    SiteOptions options;
    options.engine = "auto";
    options.service = "patience = 60\n";
    return options;
  }

  const WebSite site_{Options()};
};

TEST_F(RenderedSite, AnswersAHundredRequestsAtOnceWithTheBoxesOwnPixels) {
  constexpr int kPhotos = 25;
  for (int i = 0; i < kPhotos; ++i) {
    kit::JpegOptions options;
    options.size = {1000, 750};
    options.orientation = i % 8 + 1;
    kit::WriteJpeg(site_.Photo(std::to_string(i) + ".jpg"), options);
  }
  std::vector<std::future<HttpResponse>> responses;
  for (const char* size : {"small", "medium", "big", "xlarge"}) {
    for (int i = 0; i < kPhotos; ++i) {
      const std::string address =
          "/thumb/photos/" + std::to_string(i) + ".jpg?size=" + std::string(size);
      responses.push_back(
          std::async(std::launch::async, [this, address] { return site_.Get(address); }));
    }
  }
  int pictures = 0;
  for (auto& response : responses) {
    const HttpResponse answer = response.get();
    EXPECT_THAT(answer.status, testing::AnyOf(200, 503)) << answer.body;
    if (answer.status == 200) ++pictures;
  }
  EXPECT_GT(pictures, 0);
  const HttpResponse small = site_.Get("/thumb/photos/0.jpg?size=small");
  ASSERT_EQ(small.status, 200);
  kit::WriteFile(site_.State("small"), small.body);
  EXPECT_EQ(kit::Examine(site_.State("small")).width, 120);
  EXPECT_EQ(kit::Examine(site_.State("small")).height, 90);
  for (const auto& entry : fs::recursive_directory_iterator(site_.State("photos"))) {
    EXPECT_EQ(entry.path().filename().string().find("VEXATHUMBTMP"), std::string::npos);
  }
}

TEST_F(RenderedSite, ListsADamagedPictureAsDamagedOnceItIsBuilt) {
  const std::string photo = site_.Photo("a.jpg");
  kit::WriteJpeg(photo, {{1600, 1200}});
  fs::resize_file(photo, fs::file_size(photo) * 3 / 4);
  kit::Age(photo);
  kit::WriteJpeg(site_.Photo("b.jpg"), {{1600, 1200}});
  EXPECT_EQ(site_.Get("/thumb/photos/a.jpg?size=small").status, 200);
  EXPECT_EQ(site_.Get("/thumb/photos/b.jpg?size=small").status, 200);
  const auto listing = nlohmann::json::parse(site_.Get("/album/photos/").body);
  EXPECT_EQ(listing["entries"][0]["damaged"], true);
  EXPECT_FALSE(listing["entries"][1].contains("damaged"));
}

}  // namespace
}  // namespace vexathumb::web_test
