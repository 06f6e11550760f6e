#include "unit/bindings/c/c_interface.h"

#include <fcntl.h>
#include <gmock/gmock.h>
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
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(fcntl(held, F_OFD_SETLK, &lock), 0);
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

TEST_F(CInterfaceTest, AnAnimationStaysOneWhereThatIsAskedFor) {
  const std::string animation = share_ / "b.gif";
  kit::WriteAnimatedGif(animation);
  kit::Age(animation);
  for (const bool animated : {false, true}) {
    const Request request = RequestFor(animation, "small");
    vexathumb_request_set_animated(request.get(), animated);
    const Picture picture = Obtain(request);
    ASSERT_NE(picture, nullptr) << vexathumb_request_error_message(request.get());
    EXPECT_STREQ(vexathumb_picture_mime(picture.get()), animated ? "image/gif" : "image/jpeg");
  }
}

TEST_F(CInterfaceTest, ThePhotoAlbumsPictureServesOnAnyShareWhereItMay) {
  kit::WriteFile(elsewhere_ / "platform.ini", "[share photo]\npath = " + share_.path() +
                                                  "\n[service]\nlock_dir = " + locks_ + "\n");
  std::filesystem::create_directories(StorePath(""));
  kit::WriteJpeg(StorePath("VEXAPHOTO_THUMB_M.jpg"), {{360, 270}});
  for (const bool any_share : {true, false}) {
    const Request request = RequestFor(photo_, "medium");
    vexathumb_request_set_any_share(request.get(), any_share);
    const Picture picture = Obtain(request);
    ASSERT_NE(picture, nullptr) << vexathumb_request_error_message(request.get());
    EXPECT_EQ(vexathumb_picture_origin(picture.get()) == VEXATHUMB_ORIGIN_PIXDECK, any_share);
  }
}

TEST_F(CInterfaceTest, ASmallerStoredSizeServesWhereItMay) {
  ASSERT_NE(Obtain(RequestFor(photo_, "small")), nullptr);
  const Request request = RequestFor(photo_, "big");
  vexathumb_request_set_may_build(request.get(), false);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_NOT_STORED);
  vexathumb_request_set_allow_smaller(request.get(), true);
  EXPECT_EQ(StatusOf(request), VEXATHUMB_OK);
}

TEST(NullPointer, IsInvalidForARequest) {
  VexathumbPicture* picture = nullptr;
  VexathumbOrigin origin = VEXATHUMB_ORIGIN_SOURCE;
  EXPECT_EQ(vexathumb_request_new(nullptr), nullptr);
  EXPECT_EQ(vexathumb_request_new_in_share(nullptr, "a"), nullptr);
  EXPECT_EQ(vexathumb_request_set_size(nullptr, "big"), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_set_box(nullptr, 1, 1), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_set_stores(nullptr, 0), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_choose(nullptr, &origin), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_obtain(nullptr, &picture), VEXATHUMB_INVALID);
  EXPECT_EQ(picture, nullptr);
  vexathumb_request_set_fill(nullptr, true);
  vexathumb_request_set_turns(nullptr, 1);
  vexathumb_request_set_any_share(nullptr, true);
  vexathumb_request_set_may_build(nullptr, true);
  vexathumb_request_set_allow_smaller(nullptr, true);
  vexathumb_request_set_animated(nullptr, true);
  vexathumb_request_set_try_again(nullptr, true);
  vexathumb_request_set_patience(nullptr, 1);
  EXPECT_STREQ(vexathumb_request_error_message(nullptr), "");
  EXPECT_STREQ(vexathumb_request_error_advice(nullptr), "");
  EXPECT_EQ(vexathumb_request_retry_after(nullptr), 0);
  vexathumb_request_free(nullptr);
}

TEST(NullPointer, IsInvalidForAPicture) {
  uint32_t side = 0;
  size_t count = 0;
  void* bytes = nullptr;
  EXPECT_EQ(vexathumb_picture_path(nullptr), nullptr);
  EXPECT_FALSE(vexathumb_picture_is_temporary(nullptr));
  EXPECT_EQ(vexathumb_picture_mime(nullptr), nullptr);
  EXPECT_EQ(vexathumb_picture_origin(nullptr), VEXATHUMB_ORIGIN_TO_BE_MADE);
  EXPECT_FALSE(vexathumb_picture_is_damaged(nullptr));
  EXPECT_EQ(vexathumb_picture_bytes(nullptr), 0U);
  EXPECT_EQ(vexathumb_picture_size(nullptr, &side, &side), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_descriptor(nullptr), -1);
  EXPECT_EQ(vexathumb_picture_read(nullptr, 0, &side, 1, &count), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_load(nullptr, &bytes, &count), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_save(nullptr, "/dev/null"), VEXATHUMB_INVALID);
  vexathumb_picture_free(nullptr);
  vexathumb_free(nullptr);
}

TEST_F(CInterfaceTest, NullPointersToAnswersAreInvalid) {
  const Request request = RequestFor(photo_, "small");
  EXPECT_EQ(vexathumb_request_choose(request.get(), nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_obtain(request.get(), nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_request_set_size(request.get(), nullptr), VEXATHUMB_INVALID);
  const Picture picture = Obtain(request);
  ASSERT_NE(picture, nullptr);
  uint32_t side = 0;
  size_t count = 0;
  void* bytes = nullptr;
  EXPECT_EQ(vexathumb_picture_size(picture.get(), nullptr, &side), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_size(picture.get(), &side, nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_read(picture.get(), 0, nullptr, 1, &count), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_read(picture.get(), 0, nullptr, 0, &count), VEXATHUMB_OK);
  EXPECT_EQ(vexathumb_picture_read(picture.get(), 0, &side, 1, nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_load(picture.get(), nullptr, &count), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_load(picture.get(), &bytes, nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_save(picture.get(), nullptr), VEXATHUMB_INVALID);
  EXPECT_EQ(vexathumb_picture_save(picture.get(), ""), VEXATHUMB_INVALID);
}

TEST(StatusName, IsAWordForEach) {
  EXPECT_STREQ(vexathumb_status_name(VEXATHUMB_OK), "ok");
  EXPECT_STREQ(vexathumb_status_name(VEXATHUMB_NO_MEMORY), "no memory");
  EXPECT_STREQ(vexathumb_status_name(static_cast<VexathumbStatus>(15)), "unknown");
}

}  // namespace
}  // namespace vexathumb::c
