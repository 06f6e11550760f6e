#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr char kOddName[] = "a b#?%&+\"\n\xff.jpg";
constexpr char kOddAddress[] = "a%20b%23%3F%25%26%2B%22%0A%FF.jpg";

struct Host {
  const char* name;
  WebServer server;
  Delivery delivery;
};

const Host kHosts[] = {{"Lighttpd", WebServer::kLighttpd, Delivery::kByWorker},
                       {"LighttpdSendingFiles", WebServer::kLighttpd, Delivery::kByServer},
                       {"Nginx", WebServer::kNginx, Delivery::kByWorker},
                       {"NginxSendingFiles", WebServer::kNginx, Delivery::kByServer}};

kit::JpegOptions Sized(int width, int height) {
  kit::JpegOptions options;
  options.size = {width, height};
  return options;
}

void FillShares(const WebSite& site) {
  kit::JpegOptions photo = Sized(900, 600);
  photo.orientation = 6;
  kit::WriteJpeg(site.Photo("photo.jpg"), photo);
  std::filesystem::copy_file(site.Photo("photo.jpg"), site.Photo(kOddName));
  kit::WritePng(site.Photo("small.png"), {{60, 40}});
  kit::WriteAnimatedGif(site.Photo("moving.gif"));
  kit::WriteFile(site.Photo("broken.jpg"), "not a picture");
  kit::WriteFile(site.Photo("notes.txt"), "not for the web");
  kit::WriteFile(site.Photo("clip.mp4"), "not a video");
  std::filesystem::create_directories(site.Photo("sub/\xff folder"));
  kit::WritePng(site.Photo("sub/\xff folder/in.png"), {{60, 40}});
  const std::string store = site.Photo(".vexaea/stored.jpg");
  kit::WriteJpeg(site.Photo("stored.jpg"), photo);
  std::filesystem::create_directories(store);
  kit::WriteJpeg(store + "/VEXAPHOTO_THUMB_M.jpg", Sized(320, 240));
}

const WebSite& SiteOn(const Host& host) {
  static std::map<std::string, std::unique_ptr<WebSite>> sites;
  auto& site = sites[host.name];
  if (!site) {
    SiteOptions options;
    options.server = host.server;
    options.delivery = host.delivery;
    site = std::make_unique<WebSite>(options);
    FillShares(*site);
  }
  return *site;
}

struct Case {
  const char* name;
  const char* address;
  int status;
  std::map<std::string, std::string> headers = {};
  const char* method = "GET";
};

std::string HostAndCase(const testing::TestParamInfo<std::tuple<Host, Case>>& test) {
  return std::string(std::get<0>(test.param).name) + "_" + std::get<1>(test.param).name;
}

class Picture : public testing::TestWithParam<std::tuple<Host, Case>> {};

TEST_P(Picture, IsAnswered) {
  const auto& [host, asked] = GetParam();
  const WebSite& site = SiteOn(host);
  // The second answer is the stored one.
  for (int time = 0; time < 2; ++time) {
    const HttpResponse response = site.Get(asked.address);
    ASSERT_EQ(response.status, 200) << response.body;
    EXPECT_TRUE(response.is_whole);
    EXPECT_EQ(response.Header("cache-control"), "max-age=300, must-revalidate");
    for (const auto& [name, value] : asked.headers) EXPECT_EQ(response.Header(name), value) << name;
    kit::WriteFile(site.State("answer"), response.body);
    EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);

    const HttpResponse head = site.Get(asked.address, {"HEAD"});
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.body, "");
    EXPECT_EQ(head.Header("content-type"), response.Header("content-type"));
    EXPECT_EQ(head.Header("content-length"), std::to_string(response.body.size()));
  }
}

INSTANTIATE_TEST_SUITE_P(
    , Picture,
    testing::Combine(
        testing::ValuesIn(kHosts),
        testing::Values(
            Case{"Named",
                 "/thumb/photos/photo.jpg?size=small",
                 200,
                 {{"content-type", "image/jpeg"}}},
            Case{
                "Box", "/thumb/photos/photo.jpg?box=200x90", 200, {{"content-type", "image/jpeg"}}},
            Case{"Side", "/thumb/photos/photo.jpg?side=64", 200, {{"content-type", "image/jpeg"}}},
            Case{"FullCircle",
                 "/thumb/photos/photo.jpg?size=medium&rotate=-4",
                 200,
                 {{"content-type", "image/jpeg"}}},
            Case{"OddName",
                 "/thumb/photos/a%20b%23%3F%25%26%2B%22%0A%FF.jpg?size=small",
                 200,
                 {{"content-type", "image/jpeg"}}},
            Case{"InAFolder",
                 "/thumb/photos/sub/%FF%20folder/in.png?size=big",
                 200,
                 {{"content-type", "image/png"}}},
            Case{"NoConversion",
                 "/thumb/photos/small.png?size=small",
                 200,
                 {{"content-type", "image/png"}}},
            Case{"Original",
                 "/thumb/photos/small.png?size=original",
                 200,
                 {{"content-type", "image/png"}}},
            Case{"Animation",
                 "/thumb/photos/moving.gif?size=small&gif=1",
                 200,
                 {{"content-type", "image/gif"}}})),
    HostAndCase);

class Refusal : public testing::TestWithParam<std::tuple<Host, Case>> {};

TEST_P(Refusal, IsAProblemDocument) {
  const auto& [host, asked] = GetParam();
  const HttpResponse response =
      SiteOn(host).Get(asked.address, {asked.method, {"Content-Length: 0"}});
  EXPECT_EQ(response.status, asked.status);
  EXPECT_EQ(response.Header("content-type"), "application/problem+json");
  EXPECT_EQ(response.Header("cache-control"), "no-store");
  EXPECT_EQ(response.Header("x-content-type-options"), "nosniff");
  for (const auto& [name, value] : asked.headers) EXPECT_EQ(response.Header(name), value) << name;
  if (std::string(asked.method) == "HEAD") {
    EXPECT_EQ(response.body, "");
    return;
  }
  const json document = json::parse(response.body);
  EXPECT_EQ(document.at("type"), "about:blank");
  EXPECT_EQ(document.at("status"), asked.status);
  EXPECT_FALSE(document.at("title").get<std::string>().empty());
  EXPECT_FALSE(document.at("detail").get<std::string>().empty());
  EXPECT_THAT(response.body, testing::Not(HasSubstr("/tmp")));
}

INSTANTIATE_TEST_SUITE_P(
    , Refusal,
    testing::Combine(
        testing::ValuesIn(kHosts),
        testing::Values(
            Case{"NoSize", "/thumb/photos/photo.jpg", 400},
            Case{"UnknownSize", "/thumb/photos/photo.jpg?size=huge", 400},
            Case{"UnknownSizeOfAMissingFile", "/thumb/photos/missing.jpg?size=huge", 400},
            Case{"UnknownParameter", "/thumb/photos/photo.jpg?size=big&x=1", 400},
            Case{"RepeatedParameter", "/thumb/photos/photo.jpg?size=big&size=big", 400},
            Case{"BrokenEncoding", "/thumb/photos/photo.jpg?size=%zz", 400},
            Case{"HugeBox", "/thumb/photos/photo.jpg?box=4097x1", 400},
            Case{"BadRotation", "/thumb/photos/photo.jpg?size=big&rotate=x", 400},
            Case{"HeadWithoutSize", "/thumb/photos/photo.jpg", 400, {}, "HEAD"},
            Case{"Missing", "/thumb/photos/missing.jpg?size=big", 404},
            Case{"HeadOfMissing", "/thumb/photos/missing.jpg?size=big", 404, {}, "HEAD"},
            Case{"UnknownShare", "/thumb/other/photo.jpg?size=big", 404},
            Case{"Folder", "/thumb/photos/sub?size=big", 404},
            Case{"NotStored", "/thumb/photos/photo.jpg?size=xlarge&only=1", 404},
            Case{"Post", "/thumb/photos/photo.jpg?size=big", 405, {{"allow", "GET, HEAD"}}, "POST"},
            Case{"Put", "/thumb/photos/photo.jpg?size=big", 405, {{"allow", "GET, HEAD"}}, "PUT"},
            Case{"Patch", "/thumb/photos/new.jpg", 405, {{"allow", "GET, HEAD"}}, "PATCH"},
            Case{"Options", "/album/photos/", 405, {{"allow", "GET, HEAD"}}, "OPTIONS"},
            Case{"Delete", "/album/photos/", 405, {{"allow", "GET, HEAD"}}, "DELETE"},
            Case{"NullInAParameter", "/thumb/photos/photo.jpg?size=big%00", 400},
            Case{"ControlsInAParameter", "/thumb/photos/photo.jpg?%1b%5b2J=%0d%0a", 400},
            Case{"ControlsInAName", "/thumb/photos/%01%1b%0d%0aX-A%3a%20b.jpg?size=big", 404},
            Case{"HeadOfAnUnknownShare", "/album/other/", 404, {}, "HEAD"},
            Case{"NoPicture", "/thumb/photos/broken.jpg?size=big", 415},
            Case{"Text", "/thumb/photos/notes.txt?size=original", 415},
            Case{"Video", "/thumb/photos/clip.mp4?size=big", 415},
            Case{"AlbumOfAnUnknownShare", "/album/other/", 404},
            Case{"AlbumOfAFile", "/album/photos/photo.jpg", 404},
            Case{"AlbumOfAHiddenFolder", "/album/photos/.vexaea/", 404},
            Case{"AlbumSortedOddly", "/album/photos/?sort=size", 400},
            Case{"AlbumOfTooMany", "/album/photos/?limit=1001", 400},
            Case{"AlbumOfNone", "/album/photos/?limit=0", 400},
            Case{"SharesWithParameters", "/album/?sort=name", 400},
            Case{"BelowHealth", "/health/x", 404})),
    HostAndCase);

class Site : public testing::TestWithParam<Host> {};

TEST_P(Site, TurnsAStoredPictureOnItsWay) {
  const WebSite& site = SiteOn(GetParam());
  const HttpResponse upright = site.Get("/thumb/photos/stored.jpg?size=medium&any=1");
  ASSERT_EQ(upright.status, 200);
  kit::WriteFile(site.State("answer"), upright.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);

  const HttpResponse turned = site.Get("/thumb/photos/stored.jpg?size=medium&any=1&rotate=1");
  ASSERT_EQ(turned.status, 200);
  EXPECT_EQ(turned.Header("cache-control"), "max-age=300, must-revalidate");
  EXPECT_EQ(turned.Header("content-type"), "image/jpeg");
  kit::WriteFile(site.State("answer"), turned.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), "blue red yellow green");
}

TEST_P(Site, LooksAtThePhotoAlbumsStoreOnlyWhereTheShareIsIndexed) {
  const WebSite& site = SiteOn(GetParam());
  for (const std::string& share : {site.Photo(""), site.Indexed("")}) {
    kit::WriteJpeg(share + "other.jpg", Sized(900, 600));
    std::filesystem::create_directories(share + ".vexaea/other.jpg");
    kit::WriteJpeg(share + ".vexaea/other.jpg/VEXAPHOTO_THUMB_M.jpg", Sized(11, 7));
  }
  const auto width = [&site](const std::string& address) {
    const HttpResponse response = site.Get(address);
    kit::WriteFile(site.State("answer"), response.body);
    return kit::Examine(site.State("answer")).width;
  };
  EXPECT_EQ(width("/thumb/indexed/other.jpg?size=medium"), 11);
  EXPECT_EQ(width("/thumb/photos/other.jpg?size=medium&any=1"), 11);
  EXPECT_GT(width("/thumb/photos/other.jpg?size=medium"), 11);
  EXPECT_GT(width("/thumb/indexed/other.jpg?size=medium&store=docdeck"), 11);
}

TEST_P(Site, FillsABoxWithAnAvatar) {
  const WebSite& site = SiteOn(GetParam());
  const HttpResponse response = site.Get("/thumb/photos/photo.jpg?side=50&avatar=1");
  ASSERT_EQ(response.status, 200);
  kit::WriteFile(site.State("answer"), response.body);
  EXPECT_EQ(kit::Examine(site.State("answer")).width, 50);
  EXPECT_EQ(kit::Examine(site.State("answer")).height, 50);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);
}

TEST_P(Site, SaysWhyThereIsNoPictureEveryTime) {
  const WebSite& site = SiteOn(GetParam());
  const HttpResponse first = site.Get("/thumb/photos/broken.jpg?size=medium");
  const HttpResponse second = site.Get("/thumb/photos/broken.jpg?size=medium");
  EXPECT_THAT(json::parse(first.body).at("detail").get<std::string>(),
              testing::StartsWith("No thumbnail can be made of this file: "));
  EXPECT_EQ(first.body, second.body);
}

TEST_P(Site, ListsItsShares) {
  const HttpResponse response = SiteOn(GetParam()).Get("/album");
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.Header("content-type"), "application/json");
  EXPECT_EQ(response.Header("cache-control"), "no-cache");
  EXPECT_EQ(json::parse(response.body),
            json::parse(R"({"shares": [{"name": "photos", "href": "/album/photos/"},
                                       {"name": "indexed", "href": "/album/indexed/"}]})"));
}

TEST_P(Site, ListsAFolder) {
  const HttpResponse response = SiteOn(GetParam()).Get("/album/photos/sub/%FF%20folder/");
  ASSERT_EQ(response.status, 200);
  json document = json::parse(response.body);
  const json& entry = document.at("entries").at(0);
  EXPECT_GT(entry.at("mtime"), 0);
  EXPECT_GT(entry.at("size"), 0);
  document.at("entries").at(0).erase("mtime");
  document.at("entries").at(0).erase("size");
  EXPECT_EQ(document, json::parse(R"({
    "share": "photos", "path": "sub/\ufffd folder", "href": "/album/photos/sub/%FF%20folder/",
    "parent": "/album/photos/sub/", "total": 1, "offset": 0,
    "entries": [{"name": "in.png", "kind": "image", "width": 60, "height": 40,
                 "href": "/thumb/photos/sub/%FF%20folder/in.png"}]})"));
}

TEST_P(Site, AnswersEveryAddressThatItLists) {
  const WebSite& site = SiteOn(GetParam());
  const json document = json::parse(site.Get("/album/photos").body);
  EXPECT_FALSE(document.contains("parent"));
  bool odd_name_listed = false;
  for (const json& entry : document.at("entries")) {
    const std::string address = entry.at("href");
    odd_name_listed |= address == std::string("/thumb/photos/") + kOddAddress;
    const bool is_folder = entry.at("kind") == "folder";
    const long status = site.Get(address + (is_folder ? "" : "?size=small")).status;
    EXPECT_TRUE(status == 200 || status == 415) << address << ": " << status;
  }
  EXPECT_TRUE(odd_name_listed);
}

TEST_P(Site, IsHealthy) {
  const HttpResponse response = SiteOn(GetParam()).Get("/health");
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(json::parse(response.body), json::parse(R"({"status": "ok"})"));
}

// What the page says of itself, and what it cannot: that it may not be framed.
std::string PagePolicy() {
  const std::string page = kit::ReadFile(PAGE "/index.html");
  const std::string before = "http-equiv=\"Content-Security-Policy\" content=\"";
  const size_t start = page.find(before) + before.size();
  return page.substr(start, page.find('"', start) - start) + "; frame-ancestors 'none'";
}

// A picture that is opened by itself gets styles from the browser.
constexpr char kAnswerPolicy[] =
    "default-src 'none'; style-src 'unsafe-inline'; img-src 'self'; frame-ancestors 'none'";

void ExpectProtected(const HttpResponse& response, const std::string& policy) {
  EXPECT_EQ(response.Header("content-security-policy"), policy);
  EXPECT_EQ(response.Header("x-content-type-options"), "nosniff");
  EXPECT_EQ(response.Header("referrer-policy"), "same-origin");
}

class Page : public testing::TestWithParam<std::tuple<Host, Case>> {};

TEST_P(Page, IsAnsweredProtected) {
  const auto& [host, asked] = GetParam();
  const HttpResponse response =
      SiteOn(host).Get(asked.address, {asked.method, {"Content-Length: 0"}});
  EXPECT_EQ(response.status, asked.status);
  ExpectProtected(response, PagePolicy());
  for (const auto& [name, value] : asked.headers) EXPECT_EQ(response.Header(name), value) << name;
  if (response.status != 200) return;
  EXPECT_EQ(response.Header("cache-control"), "no-cache");
  const HttpResponse again = SiteOn(host).Get(
      asked.address, {asked.method, {"If-None-Match: " + response.Header("etag")}});
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.Header("etag"), response.Header("etag"));
  EXPECT_EQ(again.Header("cache-control"), "no-cache");
}

INSTANTIATE_TEST_SUITE_P(
    , Page,
    testing::Combine(
        testing::ValuesIn(kHosts),
        testing::Values(
            Case{"Itself", "/", 200, {{"content-type", "text/html; charset=utf-8"}}},
            Case{"Named", "/index.html", 200, {{"content-type", "text/html; charset=utf-8"}}},
            Case{"Head", "/", 200, {{"content-type", "text/html; charset=utf-8"}}, "HEAD"},
            Case{"Script",
                 "/script/main.js",
                 200,
                 {{"content-type", "text/javascript; charset=utf-8"}}},
            Case{"Style", "/style/base.css", 200, {{"content-type", "text/css; charset=utf-8"}}},
            Case{"Icon", "/icon.svg", 200, {{"content-type", "image/svg+xml"}}},
            Case{"Missing", "/missing.html", 404, {{"cache-control", "no-cache"}}},
            Case{"NamedLikeAThumbnail", "/thumbs.html", 404, {{"cache-control", "no-cache"}}},
            Case{"NamedLikeAnAlbum", "/album.css", 404, {{"cache-control", "no-cache"}}})),
    HostAndCase);

TEST_P(Site, ShowsTheAlbumPage) {
  EXPECT_EQ(SiteOn(GetParam()).Get("/").body, kit::ReadFile(PAGE "/index.html"));
}

TEST_P(Site, ShowsNoFolderOfThePageAndNothingBesideIt) {
  for (const char* address : {"/script", "/script/", "/../README.md", "/%2e%2e/README.md",
                              "/script/../../README.md", "/.git/config"}) {
    const HttpResponse response = SiteOn(GetParam()).Get(address);
    EXPECT_NE(response.status, 200) << address;
    EXPECT_THAT(response.body, testing::Not(HasSubstr("main.js"))) << address;
  }
}

TEST_P(Site, ProtectsPicturesListingsAndProblems) {
  const WebSite& site = SiteOn(GetParam());
  for (const char* address :
       {"/thumb/photos/small.png?size=small", "/album/", "/health",
        "/thumb/photos/stored.jpg?size=medium&any=1", "/thumb/photos/missing.png?size=small"}) {
    SCOPED_TRACE(address);
    ExpectProtected(site.Get(address), kAnswerPolicy);
  }
}

// A page of somebody else's whose name leads here asks by that name.
TEST_P(Site, AnswersByNoOtherName) {
  const WebSite& site = SiteOn(GetParam());
  for (const char* address :
       {"/thumb/photos/photo.jpg?size=small", "/album/photos/", "/health", "/thumb/none"}) {
    SCOPED_TRACE(address);
    const HttpResponse response = site.Get(address, {"GET", {"Host: evil.example"}});
    EXPECT_EQ(response.status, 421);
    EXPECT_EQ(response.Header("content-type"), "application/problem+json");
    EXPECT_NE(site.Get(address, {"GET", {"Host: LocalHost:8080"}}).status, 421);
  }
}

TEST_P(Site, KeepsAPersonsAnswersFromSharedCaches) {
  const WebSite& site = SiteOn(GetParam());
  for (const char* header : {"Authorization: Basic eDp5", "Cookie: session=1"}) {
    SCOPED_TRACE(header);
    EXPECT_EQ(
        site.Get("/thumb/photos/photo.jpg?size=small", {"GET", {header}}).Header("cache-control"),
        "private, max-age=300, must-revalidate");
    EXPECT_EQ(site.Get("/album/photos/", {"GET", {header}}).Header("cache-control"),
              "private, no-cache");
  }
}

INSTANTIATE_TEST_SUITE_P(, Site, testing::ValuesIn(kHosts), kit::CaseName());

}  // namespace
}  // namespace vexathumb::web_test
