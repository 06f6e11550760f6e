// The command line and the web program on one photo at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/processes.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

struct Size {
  const char* label;
  const char* entry;
  int longer_side;
};

constexpr Size kSizes[] = {{"small", "VEXAFILE_THUMB_S.jpg", 120},
                           {"big", "VEXAFILE_THUMB_B.jpg", 640}};
constexpr int kOfEach = 5;

// What the command says, as JSON; nothing when it fails.
std::string Get(const WebSite& site, const std::string& photo, const Size& size) {
  const std::string command = "VEXATHUMB_CONFIG='" + site.State("platform.ini") + "' '" +
                              VEXATHUMB_PROGRAM + "' get --json --size " + size.label + " '" +
                              site.Photo(photo) + "' 2>&1";
  FILE* const output = popen(command.c_str(), "r");
  if (output == nullptr) return "";
  std::string said;
  for (int c = fgetc(output); c != EOF; c = fgetc(output)) said += static_cast<char>(c);
  return pclose(output) == 0 ? said : "failed: " + said;
}

void ExpectSize(const std::string& picture, const Size& size) {
  const kit::PictureInfo info = kit::Examine(picture);
  EXPECT_EQ(std::max(info.width, info.height), size.longer_side) << picture;
  EXPECT_EQ(kit::Corners(picture), kit::kPictureCorners) << picture;
}

TEST(BesideTheWebProgram, TenGetsOfOneHeicAreAllRightAndNothingIsRecordedAsFailed) {
  const WebSite site;
  kit::WriteHeic(site.Photo("a.heic"), {{1600, 1200}, 6});
  std::vector<std::string> said(std::size(kSizes) * kOfEach);
  std::vector<HttpResponse> sent(said.size());
  std::vector<std::thread> clients;
  for (size_t i = 0; i < said.size(); ++i) {
    const Size& size = kSizes[i % std::size(kSizes)];
    clients.emplace_back([&, i, size] { said[i] = Get(site, "a.heic", size); });
    clients.emplace_back([&, i, size] {
      const std::string address = "/thumb/photos/a.heic?size=" + std::string(size.label);
      // No more than some workers wait for one photo; the album page asks again, too.
      EXPECT_TRUE(Eventually([&] {
        sent[i] = site.Get(address);
        return sent[i].status != 503;
      }));
    });
  }
  for (std::thread& client : clients) client.join();

  for (size_t i = 0; i < said.size(); ++i) {
    const Size& size = kSizes[i % std::size(kSizes)];
    SCOPED_TRACE(said[i]);
    const auto answer = nlohmann::json::parse(said[i], nullptr, false);
    ASSERT_TRUE(answer.is_object());
    ExpectSize(answer["output"], size);
    EXPECT_EQ(sent[i].status, 200) << sent[i].body;
    kit::WriteFile(site.State("answer"), sent[i].body);
    ExpectSize(site.State("answer"), size);
  }
  std::vector<std::string> stored;
  for (const auto& entry : std::filesystem::directory_iterator(site.Photo(".vexaea/a.heic"))) {
    stored.push_back(entry.path().filename());
  }
  EXPECT_THAT(stored, testing::UnorderedElementsAre(kSizes[0].entry, kSizes[1].entry));
  for (const Size& size : kSizes) {
    ExpectSize(site.Photo(".vexaea/a.heic/" + std::string(size.entry)), size);
  }
}

}  // namespace
}  // namespace vexathumb::web_test
