// Many clients at once, on photos that nobody has asked for yet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/processes.h"
#include "system/web/server_name.h"
#include "system/web/tool_control.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

constexpr int kPhotos = 20;
constexpr int kClients = 100;
const char* const kSizes[] = {"small", "medium", "big"};

std::string PhotoName(int number) { return "photo" + std::to_string(number) + ".jpg"; }

// Upright, sideways and with a preview.
void WritePhoto(const std::string& path, int number) {
  kit::JpegOptions options;
  options.size = {1000, 750};
  options.orientation = number % 8 + 1;
  if (number % 5 == 0) options.exif_thumbnail = kit::Size{160, 120};
  kit::WriteJpeg(path, options);
}

std::vector<std::string> FilesBelow(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Asks again where too much is to be built, as the album page does.
HttpResponse GetAtLast(const WebSite& site, const std::string& address) {
  constexpr useconds_t kPause = 100000;
  HttpResponse response = site.Get(address);
  for (int i = 0; i < 600 && response.status == 503; ++i) {
    usleep(kPause);
    response = site.Get(address);
  }
  return response;
}

// Reads whatever is stored, again and again, and keeps the names of what was taken as current, by
// its time, without being a whole picture.
class StoreReader {
 public:
  explicit StoreReader(const WebSite& site) : site_(site), thread_([this] { Run(); }) {}
  ~StoreReader() { Stop(); }
  StoreReader(const StoreReader&) = delete;
  StoreReader& operator=(const StoreReader&) = delete;

  const std::set<std::string>& Stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    return damaged_;
  }

 private:
  void Run() {
    while (!stop_) {
      for (int number = 0; number < kPhotos; ++number) Look(PhotoName(number));
    }
  }

  void Look(const std::string& photo) {
    struct stat source = {};
    if (stat(site_.Photo(photo).c_str(), &source) != 0) return;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(site_.Photo(".vexaea/" + photo), error)) {
      const std::string path = entry.path().string();
      struct stat st = {};
      if (entry.path().filename().string().rfind("VEXAFILE_THUMB_", 0) != 0) continue;
      if (stat(path.c_str(), &st) != 0 || st.st_mtime != source.st_mtime) continue;
      std::ifstream file(path, std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(file)), {});
      const bool is_bmp = bytes.rfind("BM", 0) == 0;  // waits for its compaction
      const bool is_jpeg = bytes.size() > 4 && bytes.rfind("\xff\xd8", 0) == 0 &&
                           bytes.compare(bytes.size() - 2, 2, "\xff\xd9") == 0;
      if (!is_bmp && !is_jpeg) damaged_.insert(path);
    }
  }

  const WebSite& site_;
  std::atomic<bool> stop_ = false;
  std::set<std::string> damaged_;
  std::thread thread_;
};

class Load : public testing::TestWithParam<WebServer> {};

TEST_P(Load, OfAHundredClientsOnNewPhotosIsAnsweredWithEachToolRunOnce) {
  SiteOptions options;
  options.server = GetParam();
  options.workers = 16;
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  for (int number = 0; number < kPhotos; ++number)
    WritePhoto(site.Photo(PhotoName(number)), number);

  StoreReader reader(site);
  std::vector<std::thread> clients;
  std::vector<std::string> wrong(kClients);
  std::vector<std::map<std::string, std::string>> bodies(kClients);
  for (int client = 0; client < kClients; ++client) {
    std::string* const failed = &wrong[static_cast<size_t>(client)];
    auto* const seen = &bodies[static_cast<size_t>(client)];
    clients.emplace_back([&, client, failed, seen] {
      for (int i = 0; i < kPhotos / 5; ++i) {
        const std::string address = "/thumb/photos/" + PhotoName((client + i * 5) % kPhotos) +
                                    "?size=" + kSizes[client % 3];
        const HttpResponse response = GetAtLast(site, address);
        if (response.status != 200 || !response.is_whole) *failed = address;
        (*seen)[address] = response.body;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_THAT(reader.Stop(), testing::IsEmpty());
  EXPECT_EQ(wrong, std::vector<std::string>(kClients));

  // One picture for each address, upright.
  std::map<std::string, std::string> by_address;
  for (const auto& answered : bodies) {
    for (const auto& [address, body] : answered) {
      const auto [first, is_new] = by_address.emplace(address, body);
      EXPECT_TRUE(first->second == body) << address;
      if (!is_new) continue;
      kit::WriteFile(site.State("answer"), body);
      EXPECT_EQ(kit::Examine(site.State("answer")).format, "JPEG") << address;
      const std::string corners = kit::Corners(site.State("answer"));
      EXPECT_TRUE(corners == kit::kPictureCorners || corners == kit::kPreviewCorners)
          << address << corners;
    }
  }

  EXPECT_EQ(by_address.size(), kPhotos * std::size(kSizes));

  // No vector of a tool came twice: temporary names apart, each names its destination.
  const std::vector<std::string> runs = tools.RunsWithoutTemporaryNames();
  EXPECT_GE(runs.size(), by_address.size());
  EXPECT_EQ(std::set<std::string>(runs.begin(), runs.end()).size(), runs.size());

  for (const std::string& file : FilesBelow(site.Photo(""))) {
    EXPECT_THAT(file, testing::Not(testing::HasSubstr("TMP_"))) << "left over";
  }
  for (const pid_t worker : site.Workers()) {
    for (const Process& process : ProcessesBelow(worker)) EXPECT_EQ(process.name, "file reader");
  }
}

TEST_P(Load, OfFiftyClientsOnOneNewPhotoRunsItsToolsOnce) {
  SiteOptions options;
  options.server = GetParam();
  options.workers = 8;
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  kit::JpegOptions photo;
  photo.size = {1000, 750};
  kit::WriteJpeg(site.Photo("photo.jpg"), photo);

  tools.Hold();  // so that others come while the first builds
  std::vector<HttpResponse> responses(50);
  std::vector<std::thread> clients;
  for (HttpResponse& response : responses) {
    clients.emplace_back(
        [&site, &response] { response = GetAtLast(site, "/thumb/photos/photo.jpg?size=medium"); });
  }
  EXPECT_TRUE(Eventually([&tools] { return tools.RunsFor("photo.jpg") > 0; }));
  tools.Release();
  for (std::thread& client : clients) client.join();

  for (const HttpResponse& response : responses) {
    EXPECT_EQ(response.status, 200);
    EXPECT_TRUE(response.is_whole && response.body == responses[0].body);
  }
  const std::vector<std::string> runs = tools.RunsWithoutTemporaryNames();
  EXPECT_THAT(runs, testing::ElementsAre(testing::StartsWith("/usr/bin/djpeg "),
                                         testing::StartsWith("/usr/bin/cjpeg ")));
}

TEST_P(Load, LetsStoredPicturesPassThoseBeingBuilt) {
  SiteOptions options;
  options.server = GetParam();
  options.workers = 4;
  options.service = "builders = 1\nwaiting = 1\n";
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  for (int number = 1; number < 4; ++number) WritePhoto(site.Photo(PhotoName(number)), number);
  ASSERT_EQ(site.Get("/thumb/photos/photo1.jpg?size=small").status, 200);

  tools.Hold();
  std::thread building([&site] { site.Get("/thumb/photos/photo2.jpg?size=small"); });
  ASSERT_TRUE(Eventually([&tools] { return tools.RunsFor("photo2.jpg") > 0; }));
  EXPECT_EQ(site.Get("/thumb/photos/photo1.jpg?size=small").status, 200);
  EXPECT_EQ(site.Get("/album/photos/").status, 200);
  tools.Release();
  building.join();
}

TEST_P(Load, OneSlowPhotoLeavesWorkersForOthers) {
  SiteOptions options;
  options.server = GetParam();
  options.workers = 12;
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  for (int number = 1; number < 4; ++number) WritePhoto(site.Photo(PhotoName(number)), number);
  ASSERT_EQ(site.Get("/thumb/photos/photo1.jpg?size=small").status, 200);

  tools.Hold();
  std::vector<HttpResponse> answers(14);
  std::vector<std::thread> clients;
  for (size_t i = 0; i < answers.size(); ++i) {
    const std::string side = std::to_string(100 + i);
    const std::string address = "/thumb/photos/photo2.jpg?side=" + side;
    clients.emplace_back([&site, &answers, i, address] { answers[i] = site.Get(address); });
  }
  EXPECT_TRUE(Eventually([&tools] { return tools.RunsFor("photo2.jpg") > 0; }));
  usleep(500000);  // until all have come
  std::vector<std::future<long>> others;
  for (const char* const address : {"/health", "/thumb/photos/photo1.jpg?size=small"}) {
    others.push_back(
        std::async(std::launch::async, [&site, address] { return site.Get(address).status; }));
    EXPECT_EQ(others.back().wait_for(std::chrono::seconds(3)), std::future_status::ready)
        << address;
  }
  clients.emplace_back([&site] { site.Get("/thumb/photos/photo3.jpg?size=small"); });
  usleep(500000);
  EXPECT_GT(tools.RunsFor("photo3.jpg"), 0) << "other photos are built meanwhile";
  tools.Release();
  for (std::thread& client : clients) client.join();
  for (auto& status : others) EXPECT_EQ(status.get(), 200);
  for (const HttpResponse& answer : answers) {
    EXPECT_TRUE(answer.status == 200 ||
                (answer.status == 503 && !answer.Header("retry-after").empty()))
        << answer.status;
  }
}

TEST_P(Load, WhoWaitsTooLongForAnotherBuildIsTurnedAway) {
  SiteOptions options;
  options.server = GetParam();
  options.service = "patience = 1\n";
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  WritePhoto(site.Photo("photo.jpg"), 1);

  tools.Hold();
  long first = 0;
  std::thread building([&] { first = site.Get("/thumb/photos/photo.jpg?size=small").status; });
  EXPECT_TRUE(Eventually([&tools] { return tools.RunsFor("photo.jpg") > 0; }));
  HttpResponse second;
  std::atomic<bool> is_answered = false;
  std::thread waiting([&] {
    second = site.Get("/thumb/photos/photo.jpg?size=medium");
    is_answered = true;
  });
  EXPECT_TRUE(Eventually([&] { return is_answered.load(); }));
  tools.Release();
  waiting.join();
  building.join();
  EXPECT_EQ(second.status, 503);
  EXPECT_GT(std::stoi("0" + second.Header("retry-after")), 0);
  EXPECT_EQ(first, 200);
}

TEST_P(Load, BeyondTheQueueIsTurnedAway) {
  SiteOptions options;
  options.server = GetParam();
  options.service = "builders = 1\nwaiting = 0\n";
  ToolControl tools;
  options.environment = tools.Environment();
  WebSite site(options);
  for (int number = 1; number < 3; ++number) WritePhoto(site.Photo(PhotoName(number)), number);

  tools.Hold();
  long first = 0;
  std::thread building([&] { first = site.Get("/thumb/photos/photo1.jpg?size=small").status; });
  ASSERT_TRUE(Eventually([&tools] { return tools.RunsFor("photo1.jpg") > 0; }));
  const HttpResponse refused = site.Get("/thumb/photos/photo2.jpg?size=small");
  EXPECT_EQ(refused.status, 503);
  EXPECT_GT(std::stoi("0" + refused.Header("retry-after")), 0);
  EXPECT_EQ(refused.Header("content-type"), "application/problem+json");
  tools.Release();
  building.join();
  EXPECT_EQ(first, 200);
  EXPECT_EQ(site.Get("/thumb/photos/photo2.jpg?size=small").status, 200);
}

INSTANTIATE_TEST_SUITE_P(, Load, testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                         ServerName());

}  // namespace
}  // namespace vexathumb::web_test
