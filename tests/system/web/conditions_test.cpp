// Conditional and range requests for stored thumbnails, through real web servers.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <memory>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/web/processes.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

constexpr char kAddress[] = "/thumb/photos/photo.jpg?size=medium";

struct Host {
  const char* name;
  WebServer server;
  Delivery delivery;
};

const Host kHosts[] = {{"Lighttpd", WebServer::kLighttpd, Delivery::kByWorker},
                       {"LighttpdSendingFiles", WebServer::kLighttpd, Delivery::kByServer},
                       {"Nginx", WebServer::kNginx, Delivery::kByWorker},
                       {"NginxSendingFiles", WebServer::kNginx, Delivery::kByServer}};

// A file that has just changed is not left to the web server yet.
void MakeStoredThumbnail(const WebSite& site, Delivery delivery) {
  kit::JpegOptions options;
  options.size = {900, 600};
  kit::WriteJpeg(site.Photo("photo.jpg"), options);
  const timespec times[] = {{0, UTIME_NOW}, {1'700'000'000, 0}};
  utimensat(AT_FDCWD, site.Photo("photo.jpg").c_str(), times, 0);
  site.Get(kAddress);
  const bool by_server = delivery == Delivery::kByServer;
  EXPECT_TRUE(Eventually([&] { return site.SendsItself(kAddress) == by_server; }));
}

class Condition : public testing::TestWithParam<Host> {
 protected:
  const WebSite& site() const {
    static std::map<std::string, std::unique_ptr<WebSite>> sites;
    auto& site = sites[GetParam().name];
    if (!site) {
      SiteOptions options;
      options.server = GetParam().server;
      options.delivery = GetParam().delivery;
      site = std::make_unique<WebSite>(options);
      MakeStoredThumbnail(*site, GetParam().delivery);
    }
    return *site;
  }

  HttpResponse Get(const std::string& header) const {
    return site().Get(kAddress, {"GET", {header}});
  }

  HttpResponse Whole() const { return site().Get(kAddress); }
};

TEST_P(Condition, OfThePresentTagIsNotModified) {
  const HttpResponse whole = Whole();
  ASSERT_FALSE(whole.Header("etag").empty());
  const HttpResponse response = Get("If-None-Match: " + whole.Header("etag"));
  EXPECT_EQ(response.status, 304);
  EXPECT_EQ(response.body, "");
  EXPECT_EQ(response.Header("etag"), whole.Header("etag"));
  EXPECT_EQ(response.Header("cache-control"), "max-age=300, must-revalidate");
}

TEST_P(Condition, OfAnyTagIsNotModified) { EXPECT_EQ(Get("If-None-Match: *").status, 304); }

TEST_P(Condition, OfAnotherTagGivesThePicture) {
  const HttpResponse response = Get("If-None-Match: \"other\"");
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(response.body == Whole().body);
}

TEST_P(Condition, OfThePresentTimeIsNotModified) {
  const HttpResponse whole = Whole();
  ASSERT_FALSE(whole.Header("last-modified").empty());
  EXPECT_EQ(Get("If-Modified-Since: " + whole.Header("last-modified")).status, 304);
  EXPECT_EQ(Get("If-Modified-Since: Thu, 01 Jan 1970 00:00:01 GMT").status, 200);
}

TEST_P(Condition, OfATagCountsBeforeThatOfATime) {
  const HttpResponse response = site().Get(
      kAddress,
      {"GET",
       {"If-None-Match: \"other\"", "If-Modified-Since: " + Whole().Header("last-modified")}});
  EXPECT_EQ(response.status, 200);
}

TEST_P(Condition, ThatFailsIsSaid) {
  EXPECT_EQ(Get("If-Match: \"other\"").status, 412);
  EXPECT_EQ(Get("If-Unmodified-Since: Thu, 01 Jan 1970 00:00:01 GMT").status, 412);
}

struct Part {
  const char* range;
  size_t first;
  size_t last;
};

TEST_P(Condition, RangesAreThoseBytes) {
  const std::string whole = Whole().body;
  const size_t size = whole.size();
  ASSERT_GT(size, 200U);
  for (const Part& part :
       {Part{"bytes=0-0", 0, 0}, Part{"bytes=10-19", 10, 19}, Part{"bytes=100-", 100, size - 1},
        Part{"bytes=-7", size - 7, size - 1}, Part{"bytes=0-99999999", 0, size - 1}}) {
    const HttpResponse response = Get("Range: " + std::string(part.range));
    EXPECT_EQ(response.status, 206) << part.range;
    EXPECT_TRUE(response.body == whole.substr(part.first, part.last - part.first + 1))
        << part.range;
    EXPECT_EQ(response.Header("content-range"), "bytes " + std::to_string(part.first) + "-" +
                                                    std::to_string(part.last) + "/" +
                                                    std::to_string(size));
  }
}

TEST_P(Condition, SeveralRangesComeAsParts) {
  const std::string whole = Whole().body;
  ASSERT_GT(whole.size(), 500U);  // servers may join what lies close together
  const HttpResponse response = Get("Range: bytes=0-4,-10");
  EXPECT_EQ(response.status, 206);
  EXPECT_EQ(response.Header("content-type").rfind("multipart/byteranges; boundary=", 0), 0U);
  EXPECT_NE(response.body.find(whole.substr(0, 5)), std::string::npos);
  EXPECT_NE(response.body.find(whole.substr(whole.size() - 10)), std::string::npos);
}

TEST_P(Condition, RangeBehindTheEndIsRefused) {
  EXPECT_EQ(Get("Range: bytes=99999999-").status, 416);
}

TEST_P(Condition, RangeOfAnOlderStateGivesTheWhole) {
  const HttpResponse whole = Whole();
  const HttpResponse other = site().Get(kAddress, {"GET", {"Range: bytes=0-9", "If-Range: \"x\""}});
  EXPECT_EQ(other.status, 200);
  EXPECT_TRUE(other.body == whole.body);
  const HttpResponse same =
      site().Get(kAddress, {"GET", {"Range: bytes=0-9", "If-Range: " + whole.Header("etag")}});
  EXPECT_EQ(same.status, 206);
}

TEST_P(Condition, TagChangesWithThePicture) {
  const std::string before = Whole().Header("etag");
  kit::JpegOptions options;
  options.size = {600, 900};
  kit::WriteJpeg(site().Photo("photo.jpg"), options);
  const HttpResponse changed = Get("If-None-Match: " + before);
  EXPECT_EQ(changed.status, 200);
  EXPECT_NE(changed.Header("etag"), before);
  MakeStoredThumbnail(site(), GetParam().delivery);
}

TEST_P(Condition, HeadersOfAPictureAreTheSameWhoeverSendsIt) {
  const HttpResponse whole = Whole();
  EXPECT_EQ(whole.Header("x-content-type-options"), "nosniff");
  EXPECT_EQ(whole.Header("cache-control"), "max-age=300, must-revalidate");
  EXPECT_EQ(whole.Header("content-type"), "image/jpeg");
  EXPECT_EQ(whole.Header("content-disposition"), "inline; filename=\"VEXAFILE_THUMB_M.jpg\"");
  EXPECT_EQ(whole.Header("last-modified"), "Tue, 14 Nov 2023 22:13:20 GMT");
  EXPECT_EQ(whole.Header("accept-ranges"), "bytes");
  EXPECT_EQ(whole.Header("etag").find(','), std::string::npos);
  EXPECT_EQ(whole.Header("etag").front(), '"');
}

INSTANTIATE_TEST_SUITE_P(, Condition, testing::ValuesIn(kHosts), kit::CaseName());

}  // namespace
}  // namespace vexathumb::web_test
