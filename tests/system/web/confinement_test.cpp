#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/web/server_name.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

// Everything that must stay inside is this one picture, and the picture that may go out another.
constexpr char kSecret[] = "secret.jpg";

void FillShare(const WebSite& site) {
  const auto hide = [&site](const std::string& path) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(site.State(kSecret), path);
  };
  kit::JpegOptions options;
  options.size = {40, 30};
  kit::WriteJpeg(site.State(kSecret), options);
  kit::WriteJpeg(site.Photo("open.jpg"), options);
  hide(site.State("photos-2/secret.jpg"));
  hide(site.Photo(".hidden.jpg"));
  hide(site.Photo(".hidden/secret.jpg"));
  hide(site.Photo(".vexaea/open.jpg/VEXAFILE_THUMB_S.jpg"));
  hide(site.Photo("sub/.vexaea/secret.jpg"));
  std::filesystem::create_symlink(site.State(kSecret), site.Photo("link-out.jpg"));
  std::filesystem::create_symlink("../secret.jpg", site.Photo("relative-link-out.jpg"));
  std::filesystem::create_symlink("open.jpg", site.Photo("link-in.jpg"));
  std::filesystem::create_symlink(site.State("missing"), site.Photo("dead-link.jpg"));
  std::filesystem::create_symlink("loop.jpg", site.Photo("loop.jpg"));
  std::filesystem::create_directory_symlink(site.State("."), site.Photo("folder-out"));
  std::filesystem::create_directory_symlink(".", site.Photo("folder-in"));
  std::filesystem::create_directory_symlink("/proc/self/root", site.Photo("magic"));
  std::filesystem::create_directory_symlink("/proc/self/cwd", site.Photo("cwd"));
  std::filesystem::create_directory_symlink("/proc/self/fd", site.Photo("fd"));
  kit::WriteFifo(site.Photo("fifo.jpg"));
  kit::WriteSocket(site.Photo("socket.jpg"));
}

const WebSite& SiteOn(WebServer server) {
  static std::unique_ptr<WebSite> sites[2];
  auto& site = sites[server == WebServer::kNginx ? 1 : 0];
  if (!site) {
    SiteOptions options;
    options.server = server;
    site = std::make_unique<WebSite>(options);
    FillShare(*site);
  }
  return *site;
}

const char* const kCraftedPaths[] = {
    // up and out
    "../secret.jpg", "%2e%2e/secret.jpg", "%2E%2E/secret.jpg", ".%2e/secret.jpg", "%2e./secret.jpg",
    "..%2fsecret.jpg", "..%2Fsecret.jpg", "%2e%2e%2fsecret.jpg", "%252e%252e/secret.jpg",
    "%252e%252e%252fsecret.jpg", "%25252e%25252e%25252fsecret.jpg", "..%5csecret.jpg",
    "..\\secret.jpg", "%c0%ae%c0%ae/secret.jpg", "%c0%ae%c0%ae%c0%afsecret.jpg",
    "%e0%80%ae%e0%80%ae/secret.jpg", "%uff0e%uff0e/secret.jpg", "..;/secret.jpg",
    "..%00/secret.jpg", ".../secret.jpg", "....//secret.jpg", "sub/../../secret.jpg",
    "sub/%2e%2e/%2e%2e/secret.jpg", "sub/..%2f..%2fsecret.jpg", "../photos-2/secret.jpg",
    "../photos/open.jpg", "sub/../open.jpg", "sub/%2e%2e/open.jpg", "./open.jpg", "%2e/open.jpg",
    "sub/./../open.jpg", "..", "%2e%2e", ".", "sub/..",
    // from the root
    "/etc/passwd", "%2fetc%2fpasswd", "//etc/passwd", "file:///etc/passwd",
    "%2f%2e%2e%2fsecret.jpg",
    // spelled otherwise
    "/open.jpg", "//open.jpg", "sub//../open.jpg", "open.jpg/", "open.jpg//", "open.jpg/.",
    "open.jpg/..", "open.jpg%2f", "open.jpg%00", "open.jpg%00.png", "%00open.jpg", "open.jpg.",
    "open.jpg%20", "open.jpg%0a", "open.jpg;a=b", "OPEN.JPG", "open.jpg%", "open.jpg%2",
    "open.jpg%zz", "%6fpen.jpg/x",
    // hidden
    ".hidden.jpg", "%2ehidden.jpg", ".hidden/secret.jpg", ".vexaea/open.jpg/VEXAFILE_THUMB_S.jpg",
    "%2evexaea/open.jpg/VEXAFILE_THUMB_S.jpg", "sub/.vexaea/secret.jpg",
    "sub%2f.vexaea%2fsecret.jpg", ".vexaea", ".vexaea/",
    // links
    "link-out.jpg", "relative-link-out.jpg", "link-in.jpg", "dead-link.jpg", "loop.jpg",
    "folder-out/secret.jpg", "folder-out/photos/open.jpg", "folder-in/open.jpg", "magic/etc/passwd",
    "cwd/secret.jpg", "fd/0", "fd/3",
    // other kinds of files
    "fifo.jpg", "socket.jpg", "", "sub", "sub/",
    // bytes
    "%ff%fe.jpg", "%f5.jpg", "%7f", "%01"};

class CraftedPath : public testing::TestWithParam<std::tuple<WebServer, const char*>> {};

TEST_P(CraftedPath, FindsNothing) {
  const WebSite& site = SiteOn(std::get<0>(GetParam()));
  const std::string path = std::get<1>(GetParam());
  const std::string secret = kit::ReadFile(site.State(kSecret));
  for (const char* parameters : {"?size=small", "?size=original", "?size=small&any=1&only=1"}) {
    const HttpResponse response = site.Get("/thumb/photos/" + path + parameters);
    // A web server may refuse on its own what is no address at all.
    EXPECT_TRUE(response.status == 404 || response.status == 400) << response.status;
    EXPECT_THAT(response.body, testing::Not(testing::HasSubstr(secret)));
    EXPECT_THAT(response.body, testing::Not(testing::HasSubstr("root:")));
    EXPECT_THAT(response.body, testing::Not(testing::HasSubstr(site.State(""))));
  }
}

std::string PathName(const testing::TestParamInfo<std::tuple<WebServer, const char*>>& test) {
  return NameOf(std::get<0>(test.param)) + "_" + std::to_string(test.index);
}

INSTANTIATE_TEST_SUITE_P(, CraftedPath,
                         testing::Combine(testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                                          testing::ValuesIn(kCraftedPaths)),
                         PathName);

class Confinement : public testing::TestWithParam<WebServer> {};

TEST_P(Confinement, LetsThePictureItselfOut) {
  EXPECT_EQ(SiteOn(GetParam()).Get("/thumb/photos/open.jpg?size=small").status, 200);
  EXPECT_EQ(SiteOn(GetParam()).Get("/thumb/photos/%6fpen%2ejpg?size=small").status, 200);
}

TEST_P(Confinement, TellsNothingApart) {
  const WebSite& site = SiteOn(GetParam());
  const std::string missing = site.Get("/thumb/photos/missing.jpg?size=small").body;
  for (const char* path :
       {"link-out.jpg", ".hidden.jpg", "dead-link.jpg", "../secret.jpg", "../missing.jpg",
        "folder-out/secret.jpg", "sub", "open.jpg/", ".vexaea/open.jpg/VEXAFILE_THUMB_S.jpg"}) {
    EXPECT_EQ(site.Get("/thumb/photos/" + std::string(path) + "?size=small").body, missing) << path;
  }
}

TEST_P(Confinement, HoldsForAnOverlongName) {
  const WebSite& site = SiteOn(GetParam());
  for (const size_t length : {size_t{256}, size_t{5000}}) {
    const std::string name(length, 'a');
    EXPECT_EQ(site.Get("/thumb/photos/" + name + "?size=small").status, 404);
  }
  std::string deep;
  for (int i = 0; i < 2500; ++i) deep += "a/";
  EXPECT_EQ(site.Get("/thumb/photos/" + deep + "?size=small").status, 404);
}

TEST_P(Confinement, HoldsForFolders) {
  const WebSite& site = SiteOn(GetParam());
  for (const char* path : {"..", "../", "%2e%2e/", ".vexaea/", ".hidden/", "folder-out/", "magic/",
                           "folder-in/", "cwd/", "fd/", "sub/../", "/", "open.jpg/", "fifo.jpg"}) {
    const HttpResponse response = site.Get("/album/photos/" + std::string(path));
    EXPECT_EQ(response.status, 404) << path;
  }
  EXPECT_THAT(
      site.Get("/album/photos/").body,
      testing::AllOf(testing::HasSubstr("open.jpg"), testing::Not(testing::HasSubstr("link")),
                     testing::Not(testing::HasSubstr("hidden")),
                     testing::Not(testing::HasSubstr("folder-")),
                     testing::Not(testing::HasSubstr("vexaea"))));
}

TEST_P(Confinement, DoesNotLendTheFilesOfTheSharesPastTheProgram) {
  const WebSite& site = SiteOn(GetParam());
  for (const char* address : {"/files/photos/open.jpg", "/files/photos/.hidden.jpg",
                              "/files/photos/../secret.jpg", "/photos/open.jpg"}) {
    EXPECT_EQ(site.Get(address).status, 404) << address;
  }
}

INSTANTIATE_TEST_SUITE_P(, Confinement, testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                         ServerName());

}  // namespace
}  // namespace vexathumb::web_test
