// Names that tools take for something else, in addresses and listings.
#include "kit/hostile/hazardous_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/server_name.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

class HazardousAddress : public testing::TestWithParam<WebServer> {};

// A folder a name: the picture of that name, and its decoys.
void PutPictures(const WebSite& site) {
  kit::WritePng(site.State("drawn"));
  for (const kit::HazardousName& hazard : kit::HazardousNames()) {
    const std::string folder = site.Photo(hazard.name);
    std::filesystem::create_directory(folder);
    for (const std::string& decoy : hazard.decoys) kit::WriteDecoy(folder + "/" + decoy + ".png");
    std::filesystem::copy_file(site.State("drawn"), folder + "/" + hazard.text + ".png");
  }
}

TEST_P(HazardousAddress, OfEachListedPictureIsThatOfItsOwnThumbnail) {
  SiteOptions options;
  options.server = GetParam();
  const WebSite site(options);
  PutPictures(site);
  for (const kit::HazardousName& hazard : kit::HazardousNames()) {
    const HttpResponse listing = site.Get(std::string("/album/photos/") + hazard.name + "/");
    ASSERT_EQ(listing.status, 200) << hazard.name;
    std::multiset<std::string> corners;
    const auto folder = nlohmann::json::parse(listing.body);
    for (const auto& entry : folder["entries"]) {
      const std::string address = entry["href"];
      const HttpResponse picture = site.Get(address + "?size=small");
      ASSERT_EQ(picture.status, 200) << hazard.name << ": " << address << ": " << picture.body;
      kit::WriteFile(site.State("answer"), picture.body);
      corners.insert(kit::Corners(site.State("answer")));
    }
    EXPECT_EQ(corners.size(), hazard.decoys.size() + 1) << hazard.name;
    EXPECT_EQ(corners.count(kit::kPictureCorners), 1U) << hazard.name;
    EXPECT_EQ(corners.count(kit::kDecoyCorners), hazard.decoys.size()) << hazard.name;
  }
}

INSTANTIATE_TEST_SUITE_P(, HazardousAddress,
                         testing::Values(WebServer::kLighttpd, WebServer::kNginx), ServerName());

}  // namespace
}  // namespace vexathumb::web_test
