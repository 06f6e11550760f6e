// What goes wrong costs the one request at most.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/processes.h"
#include "system/web/server_name.h"
#include "system/web/tool_control.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

constexpr char kSmall[] = "/thumb/photos/photo.jpg?size=small";

void WritePhoto(const std::string& path) {
  kit::JpegOptions options;
  options.size = {1600, 1200};
  kit::WriteJpeg(path, options);
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

void ExpectPicture(const WebSite& site, const HttpResponse& response) {
  ASSERT_EQ(response.status, 200) << response.body;
  EXPECT_TRUE(response.is_whole);
  kit::WriteFile(site.State("answer"), response.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);
}

class Fault : public testing::TestWithParam<WebServer> {
 protected:
  SiteOptions Options() const {
    SiteOptions options;
    options.server = GetParam();
    options.environment = tools_.Environment();
    return options;
  }

  ToolControl tools_;
};

TEST_P(Fault, ClientGoneInTheMiddleLeavesTheWorkerAtWork) {
  SiteOptions options = Options();
  options.workers = 1;
  options.delivery = Delivery::kByWorker;
  const WebSite site(options);
  kit::WriteBmp(site.Photo("large.bmp"), {2000, 1500});  // 9 MB
  WritePhoto(site.Photo("photo.jpg"));
  const auto workers = site.Workers();
  for (int i = 0; i < 20; ++i) AskAndLeave(site.Url("/thumb/photos/large.bmp?size=original"));
  ExpectPicture(site, site.Get(kSmall));
  EXPECT_EQ(site.Workers(), workers);
  const std::string descriptors = "/proc/" + std::to_string(workers[0]) + "/fd";
  EXPECT_TRUE(Eventually([&] { return NamesIn(descriptors).size() < 20; }));
  // The one that reads metadata stays for the next request.
  for (const Process& process : ProcessesBelow(workers[0])) EXPECT_EQ(process.name, "file reader");
}

TEST_P(Fault, WorkerKilledWhileBuildingLeavesItsPlaceToTheNext) {
  SiteOptions options = Options();
  options.service = "builders = 1\nwaiting = 0\n";
  const WebSite site(options);
  WritePhoto(site.Photo("photo.jpg"));
  tools_.Hold();
  HttpResponse lost;
  std::thread client([&] { lost = site.Get(kSmall); });
  ASSERT_TRUE(Eventually([&] { return tools_.RunsFor("photo.jpg") > 0; }));
  // All of them, since it cannot be told from outside which one builds.
  for (const pid_t worker : site.Workers()) kill(worker, SIGKILL);
  client.join();
  EXPECT_GE(lost.status, 500);
  tools_.Release();

  if (GetParam() == WebServer::kNginx) return;  // nobody starts new workers there
  HttpResponse next;
  EXPECT_TRUE(Eventually([&] { return (next = site.Get(kSmall)).status == 200; }));
  ExpectPicture(site, next);
}

TEST_P(Fault, ReadOnlyStoreIsDoneWithout) {
  const WebSite site(Options());
  WritePhoto(site.Photo("photo.jpg"));
  kit::WriteFile(site.Photo(".vexaea"), "in the way");  // for root too
  const auto left_before = NamesIn("/var/tmp");
  ExpectPicture(site, site.Get(kSmall));
  ExpectPicture(site, site.Get(kSmall));
  std::filesystem::remove(site.Photo(".vexaea"));
  ExpectPicture(site, site.Get(kSmall));
  for (const std::string& name : NamesIn("/var/tmp")) {
    const bool is_ours = name.find("photo.jpg") != std::string::npos;
    const bool is_new =
        std::find(left_before.begin(), left_before.end(), name) == left_before.end();
    EXPECT_FALSE(is_ours && is_new) << name;
  }
}

TEST_P(Fault, MissingToolIsSaidAndNotHeldAgainstThePhoto) {
  const WebSite site(Options());
  WritePhoto(site.Photo("photo.jpg"));
  tools_.TakeAway();
  const HttpResponse refused = site.Get(kSmall);
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.Header("retry-after"), "60");
  EXPECT_EQ(refused.Header("content-type"), "application/problem+json");
  EXPECT_THAT(refused.body, testing::Not(testing::HasSubstr("/")));
  tools_.GiveBack();
  ExpectPicture(site, site.Get(kSmall));
}

TEST_P(Fault, ToolThatIsKilledIsSaidAndOnlyPostponesThePhoto) {
  const WebSite site(Options());
  WritePhoto(site.Photo("photo.jpg"));
  tools_.Kill();
  for (int i = 0; i < 2; ++i) {
    const HttpResponse postponed = site.Get(kSmall);
    EXPECT_EQ(postponed.status, 503) << postponed.body;
    EXPECT_THAT(postponed.body, testing::Not(testing::HasSubstr("damaged")));
    EXPECT_THAT(std::stoi(postponed.Header("retry-after")),
                testing::AllOf(testing::Gt(30), testing::Le(60)));
  }
  const int runs = tools_.RunsFor("photo.jpg");
  tools_.Spare();
  EXPECT_EQ(site.Get(kSmall).status, 503) << "its time has not come";
  EXPECT_EQ(tools_.RunsFor("photo.jpg"), runs);
  ExpectPicture(site, site.Get("/thumb/photos/photo.jpg?size=medium"));
}

TEST_P(Fault, LockFolderThatCannotBeUsedIsNotHealthy) {
  const WebSite site(Options());
  WritePhoto(site.Photo("photo.jpg"));
  std::filesystem::remove_all(site.State("lock"));
  kit::WriteFile(site.State("lock"), "in the way");
  EXPECT_EQ(site.Get("/health").status, 503);
  EXPECT_EQ(site.Get(kSmall).status, 500);
  std::filesystem::remove(site.State("lock"));
  EXPECT_EQ(site.Get("/health").status, 200);
  ExpectPicture(site, site.Get(kSmall));
}

TEST_P(Fault, BrokenSettingsAreNotHealthyUntilMended) {
  const WebSite site(Options());
  const std::string settings = kit::ReadFile(site.State("platform.ini"));
  kit::WriteFile(site.State("platform.ini"), "[oops\n");
  EXPECT_EQ(site.Get("/health").status, 503);
  kit::WriteFile(site.State("platform.ini"), settings + "; mended\n");
  EXPECT_EQ(site.Get("/health").status, 200);
}

TEST_P(Fault, PhotoThatChangesIsShownAsItIs) {
  const WebSite site(Options());
  WritePhoto(site.Photo("photo.jpg"));
  ExpectPicture(site, site.Get(kSmall));
  kit::WritePng(site.Photo("photo.jpg"), {{300, 900}});
  const timespec later[] = {{0, UTIME_NOW}, {2'000'000'000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, site.Photo("photo.jpg").c_str(), later, 0), 0);
  const HttpResponse response = site.Get(kSmall);
  ExpectPicture(site, response);
  EXPECT_EQ(kit::Examine(site.State("answer")).height, 120);
  EXPECT_EQ(kit::Examine(site.State("answer")).width, 40);
}

INSTANTIATE_TEST_SUITE_P(, Fault, testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                         ServerName());

}  // namespace
}  // namespace vexathumb::web_test
