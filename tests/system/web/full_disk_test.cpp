// Run in a mount namespace of its own, where anybody may mount.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "kit/doubles/failing_volume.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/web/server_name.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

class FullDisk : public testing::TestWithParam<WebServer> {};

TEST_P(FullDisk, IsDoneWithoutAndNotHeldAgainstThePhoto) {
  SiteOptions options;
  options.server = GetParam();
  const WebSite site(options);
  std::filesystem::create_directory(site.Photo("disk"));
  ASSERT_EQ(mount("none", site.Photo("disk").c_str(), "tmpfs", 0, "size=2m"), 0);
  kit::JpegOptions photo;
  photo.size = {1600, 1200};
  kit::WriteJpeg(site.Photo("disk/photo.jpg"), photo);
  const auto free = std::filesystem::space(site.Photo("disk")).available;
  kit::WriteFile(site.Photo("disk/ballast"), std::string(free, 'x'));

  const HttpResponse without = site.Get("/thumb/photos/disk/photo.jpg?size=medium");
  EXPECT_EQ(without.status, 200) << without.body;
  kit::WriteFile(site.State("answer"), without.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);
  EXPECT_FALSE(std::filesystem::exists(site.Photo("disk/.vexaea/photo.jpg/VEXAFILE_THUMB_M.jpg")));

  std::filesystem::remove(site.Photo("disk/ballast"));
  const HttpResponse with = site.Get("/thumb/photos/disk/photo.jpg?size=medium");
  EXPECT_EQ(with.status, 200) << with.body;
  kit::WriteFile(site.State("answer"), with.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);
  EXPECT_TRUE(std::filesystem::exists(site.Photo("disk/.vexaea/photo.jpg/VEXAFILE_THUMB_M.jpg")));
  EXPECT_EQ(umount2(site.Photo("disk").c_str(), MNT_DETACH), 0);
}

struct SourceFault {
  const char* operation;
  int error;
};

TEST_P(FullDisk, OfSourcesThatAnswersWithErrorsIsWaitedFor) {
  SiteOptions options;
  options.server = GetParam();
  const WebSite site(options);
  std::filesystem::create_directory(site.Photo("disk"));
  kit::FailingVolume volume(site.Photo("disk"));
  if (!volume.IsMounted()) GTEST_SKIP() << "no file system of one's own can be mounted here";
  kit::JpegOptions photo;
  photo.size = {1600, 1200};
  kit::WriteJpeg(volume.Behind("photo.jpg"), photo);
  const std::string address = "/thumb/photos/disk/photo.jpg?size=medium";
  for (const SourceFault& fault :
       {SourceFault{"read", EIO}, SourceFault{"open", ESTALE}, SourceFault{"stat", ESTALE}}) {
    volume.Fail(fault.operation, fault.error);
    const HttpResponse postponed = site.Get(address);
    EXPECT_EQ(postponed.status, 503) << fault.operation << postponed.body;
    EXPECT_EQ(postponed.Header("retry-after"), "60") << fault.operation;
    volume.Mend();
  }
  const HttpResponse mended = site.Get(address);
  EXPECT_EQ(mended.status, 200) << mended.body;
  kit::WriteFile(site.State("answer"), mended.body);
  EXPECT_EQ(kit::Corners(site.State("answer")), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(, FullDisk, testing::Values(WebServer::kLighttpd, WebServer::kNginx),
                         ServerName());

}  // namespace
}  // namespace vexathumb::web_test
