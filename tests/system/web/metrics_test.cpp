// What /metrics tells, and whom.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <map>
#include <string>

#include "kit/exposition.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/web/processes.h"
#include "system/web/server_name.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

class SiteMetrics : public testing::TestWithParam<WebServer> {
 protected:
  static SiteOptions Options() {
    SiteOptions options;
    options.server = GetParam();
    return options;
  }

  static std::map<std::string, double> Read(const WebSite& site) {
    const HttpResponse response = site.Get("/metrics");
    EXPECT_EQ(response.status, 200) << response.body;
    EXPECT_EQ(response.Header("content-type"), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_EQ(response.Header("cache-control"), "no-store");
    return kit::ReadExposition(response.body);
  }

  static double Of(const std::map<std::string, double>& samples, const std::string& name) {
    const auto found = samples.find(name);
    return found == samples.end() ? 0 : found->second;
  }

  static std::string Answers(const std::string& status) {
    return "vexathumb_requests_total{route=\"thumb\",status=\"" + status + "\"}";
  }
  static std::string Result(const std::string& result) {
    return "vexathumb_thumbnails_total{result=\"" + result + "\"}";
  }
};

TEST_P(SiteMetrics, AddUpOverAllWorkers) {
  const WebSite site(Options());
  kit::WriteJpeg(site.Photo("photo.jpg"));
  kit::WriteFile(site.Photo("broken.jpg"), std::string(1000, 'x'));
  kit::Age(site.Photo("photo.jpg"));
  kit::Age(site.Photo("broken.jpg"));
  EXPECT_EQ(site.Get("/thumb/photos/photo.jpg?size=small").status, 200);
  for (int i = 0; i < 12; ++i) site.Get("/thumb/photos/photo.jpg?size=small");
  EXPECT_EQ(site.Get("/thumb/photos/broken.jpg?size=small").status, 415);
  EXPECT_EQ(site.Get("/thumb/photos/none.jpg?size=small").status, 404);
  EXPECT_EQ(site.Get("/thumb/photos/photo.jpg?size=none").status, 400);
  EXPECT_EQ(site.Get("/album/photos/").status, 200);
  // A request is counted when its answer is on its way, which a client may have before.
  std::map<std::string, double> samples;
  EXPECT_TRUE(Eventually([&] {
    samples = Read(site);
    return Of(samples, Answers("200")) == 13 && Of(samples, Answers("400")) == 1 &&
           Of(samples, "vexathumb_requests_total{route=\"album\",status=\"200\"}") == 1;
  }));
  EXPECT_EQ(Of(samples, Answers("415")), 1);
  EXPECT_EQ(Of(samples, Answers("404")), 1);
  EXPECT_EQ(Of(samples, Result("built")), 1);
  EXPECT_EQ(Of(samples, Result("stored")), 12);
  EXPECT_EQ(Of(samples, Result("failed")), 1);
  EXPECT_EQ(Of(samples, "vexathumb_builds_total{engine=\"tools\",type=\"jpeg\"}"), 1);
  EXPECT_GT(Of(samples, "vexathumb_build_seconds_total{engine=\"tools\",type=\"jpeg\"}"), 0);
  EXPECT_EQ(Of(samples, "vexathumb_workers"), 4);
  EXPECT_EQ(Of(samples, "vexathumb_builds_running"), 0);
}

TEST_P(SiteMetrics, CountConditionalAnswers) {
  SiteOptions options = Options();
  options.delivery = Delivery::kByWorker;
  const WebSite site(options);
  kit::WriteJpeg(site.Photo("photo.jpg"));
  const char* const address = "/thumb/photos/photo.jpg?size=small";
  const std::string tag = site.Get(address).Header("etag");
  EXPECT_EQ(site.Get(address, {"GET", {"If-None-Match: " + tag}}).status, 304);
  EXPECT_TRUE(Eventually([&] { return Of(Read(site), Answers("304")) == 1; }));
}

TEST_P(SiteMetrics, ForgetNoWorkOfWorkersThatAreKilled) {
  const WebSite site(Options());
  kit::WriteJpeg(site.Photo("photo.jpg"));
  for (int i = 0; i < 8; ++i) site.Get("/thumb/photos/photo.jpg?size=small");
  EXPECT_TRUE(Eventually([&] { return Of(Read(site), Answers("200")) == 8; }));
  const std::vector<pid_t> workers = site.Workers();
  kill(workers.front(), SIGKILL);
  // lighttpd starts another in its place; behind nginx there is one less.
  const size_t left = GetParam() == WebServer::kLighttpd ? 4 : 3;
  EXPECT_TRUE(Eventually([&] {
    const HttpResponse response = site.Get("/metrics");
    if (response.status != 200) return false;
    const auto samples = kit::ReadExposition(response.body);
    return Of(samples, "vexathumb_workers") == static_cast<double>(left) &&
           Of(samples, Answers("200")) == 8;
  }));
}

TEST_P(SiteMetrics, AreForNobodyWhoseRequestIsPassedOn) {
  const WebSite site(Options());
  EXPECT_EQ(site.Get("/metrics").status, 200);
  EXPECT_EQ(site.Get("/metrics", {"HEAD"}).status, 200);
  EXPECT_EQ(site.Get("/metrics?x=1").status, 400);
  EXPECT_EQ(site.Get("/metrics/x").status, 404);
  for (const char* header : {"X-Forwarded-For: 127.0.0.1", "Forwarded: for=127.0.0.1",
                             "X-Real-IP: 127.0.0.1", "Via: 1.1 proxy"}) {
    EXPECT_EQ(site.Get("/metrics", {"GET", {header}}).status, 404) << header;
  }
}

TEST_P(SiteMetrics, AreForThoseWhomTheSettingsName) {
  SiteOptions options = Options();
  options.service = "metrics = 192.0.2.0/24\n";
  EXPECT_EQ(WebSite(options).Get("/metrics").status, 404);
  options.service = "metrics = off\n";
  EXPECT_EQ(WebSite(options).Get("/metrics").status, 404);
  options.service = "metrics = 192.0.2.0/24 127.0.0.0/31\n";
  EXPECT_EQ(WebSite(options).Get("/metrics").status, 200);
}

INSTANTIATE_TEST_SUITE_P(, SiteMetrics, testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                         ServerName());

}  // namespace
}  // namespace vexathumb::web_test
