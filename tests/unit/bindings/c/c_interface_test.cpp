#include "unit/bindings/c/c_interface.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "kit/pictures/pixels.h"

namespace vexathumb::c {
namespace {

TEST_F(CInterfaceTest, APictureThatTheStoreDoesNotTakeGoesWithItsObject) {
  Set("free_boxes = 0\n");
  Picture picture = Obtain(RequestForBox(photo_, 100, 100));
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(vexathumb_picture_origin(picture.get()), VEXATHUMB_ORIGIN_UNSTORED);
  EXPECT_TRUE(vexathumb_picture_is_temporary(picture.get()));
  const std::string path = vexathumb_picture_path(picture.get());
  EXPECT_TRUE(std::filesystem::exists(path));
  picture.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(CInterfaceTest, AStoredPictureOfThePhotoAlbumIsTurnedOnItsWayOut) {
  std::filesystem::create_directories(StorePath(""));
  kit::WriteJpeg(StorePath("VEXAPHOTO_THUMB_B.jpg"), {{640, 480}});
  kit::WriteJpeg(StorePath("VEXAPHOTO_THUMB_XL.jpg"), {{1280, 960}});
  const Request request(vexathumb_request_new_in_share("photo", "a.jpg"), &vexathumb_request_free);
  vexathumb_request_set_size(request.get(), "big");
  vexathumb_request_set_turns(request.get(), 1);
  Picture picture = Obtain(request);
  ASSERT_NE(picture, nullptr) << vexathumb_request_error_message(request.get());
  EXPECT_EQ(vexathumb_picture_origin(picture.get()), VEXATHUMB_ORIGIN_PIXDECK);
  const std::string path = vexathumb_picture_path(picture.get());
  EXPECT_EQ(kit::Corners(path), "blue red yellow green");
  picture.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(CInterfaceTest, TheSourceItselfServesWhereItNeedsNoConversion) {
  const Picture picture = Obtain(RequestFor(photo_, "xlarge"));
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(vexathumb_picture_origin(picture.get()), VEXATHUMB_ORIGIN_SOURCE);
  EXPECT_EQ(vexathumb_picture_path(picture.get()), photo_);
  EXPECT_FALSE(vexathumb_picture_is_temporary(picture.get()));
}

TEST_F(CInterfaceTest, APictureStaysOpenWhateverBecomesOfItsName) {
  const Picture picture = Obtain(RequestFor(photo_, "small"));
  ASSERT_NE(picture, nullptr);
  std::filesystem::remove(vexathumb_picture_path(picture.get()));
  void* bytes = nullptr;
  size_t size = 0;
  EXPECT_EQ(vexathumb_picture_load(picture.get(), &bytes, &size), VEXATHUMB_OK);
  EXPECT_EQ(size, vexathumb_picture_bytes(picture.get()));
  vexathumb_free(bytes);
  uint32_t width = 0;
  uint32_t height = 0;
  EXPECT_EQ(vexathumb_picture_size(picture.get(), &width, &height), VEXATHUMB_OK);
  EXPECT_EQ(width * 3, height * 4);
}

TEST_F(CInterfaceTest, ASourceKeepsABoundedNumberOfFreeBoxes) {
  Set("free_boxes = 2\n");
  for (uint32_t side = 100; side < 105; ++side) {
    ASSERT_NE(Obtain(RequestForBox(photo_, side, side)), nullptr);
  }
  int boxes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(StorePath(""))) {
    boxes += entry.path().extension() == ".jpg" ? 1 : 0;
  }
  EXPECT_EQ(boxes, 2);
}

TEST_F(CInterfaceTest, WhereOthersBuildPatienceEndsInOverload) {
  Set("builders = 1\n");
  const int held = open((locks_ + "/builder.0").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(held, LOCK_EX), 0);
  const Request request = RequestFor(photo_, "small");
  vexathumb_request_set_patience(request.get(), 0);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_OVERLOAD);
  EXPECT_STRNE(vexathumb_request_error_advice(request.get()), "");
  close(held);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_OK);
  EXPECT_STREQ(vexathumb_request_error_message(request.get()), "");
}

TEST_F(CInterfaceTest, LocksThatCannotBeHadAreTheSystems) {
  Set("", "/proc/nowhere");
  const Request request = RequestFor(photo_, "small");
  EXPECT_EQ(StatusOf(request), VEXATHUMB_SYSTEM);
  EXPECT_STRNE(vexathumb_request_error_message(request.get()), "");
}

TEST_F(CInterfaceTest, ASmallerStoredSizeServesWhereItMay) {
  ASSERT_NE(Obtain(RequestFor(photo_, "small")), nullptr);
  const Request request = RequestFor(photo_, "big");
  vexathumb_request_set_may_build(request.get(), false);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_NOT_STORED);
  vexathumb_request_set_allow_smaller(request.get(), true);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_OK);
}

TEST(StatusName, IsAWordForEach) {
  EXPECT_STREQ(vexathumb_status_name(VEXATHUMB_OK), "ok");
  EXPECT_STREQ(vexathumb_status_name(VEXATHUMB_NO_MEMORY), "no memory");
  EXPECT_STREQ(vexathumb_status_name(static_cast<VexathumbStatus>(15)), "unknown");
}

}  // namespace
}  // namespace vexathumb::c
