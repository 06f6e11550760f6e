#include "service/build/stored_thumbnail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>

#include "common/util/util.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "service/store/store_files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::IsEmpty;

constexpr char kJpeg[] = "\xff\xd8\xff\xe0 thumbnail";
constexpr char kBmp[] = "BM thumbnail";
constexpr char kPixdeck[] = "VEXAPHOTO_THUMB_B.jpg";
constexpr char kOldPixdeck[] = "VEXAPHOTO:THUMB_B.jpg";
constexpr char kDocdeck[] = "VEXAFILE_THUMB_B.jpg";
constexpr char kScreenshot[] = "VEXAVIDEO_VIDEO_SCREENSHOT.jpg";

struct Entry {
  const char* name;
  const char* content = kJpeg;
  time_t time = kSourceTime;
};

struct SlotCase {
  const char* name;
  std::vector<Entry> stored;
  std::function<void(ThumbnailRequest&)> change;
  const char* found;  // "" for none
  bool indexed = true;
  const char* source = "a.jpg";
};

void Nothing(ThumbnailRequest& /*request*/) {}
void OnlyDocdeck(ThumbnailRequest& request) { request.pixdeck = false; }
void OnlyPixdeck(ThumbnailRequest& request) { request.docdeck = false; }
void AnyShare(ThumbnailRequest& request) { request.any_share = true; }

class FindStoredTest : public ServiceTest, public testing::WithParamInterface<SlotCase> {};

TEST_P(FindStoredTest, FollowsTheLibrarysOrder) {
  const SlotCase& c = GetParam();
  SetIndexed(c.indexed);
  const std::string source = Picture(c.source);
  const std::string extension = std::filesystem::path(source).extension();
  if (extension == ".jpg") WritePhoto(source, {800, 600});
  if (extension == ".png") kit::WritePng(source, {{800, 600}, 0});
  if (extension == ".gif") kit::WriteGif(source, {800, 600});
  if (extension == ".mp4") kit::WriteFile(source, "film");
  SetModificationTime(source, kSourceTime);
  for (const Entry& entry : c.stored) WriteStored(source, entry.name, entry.content, entry.time);

  ThumbnailRequest request = ForLabel(source, kBig);
  c.change(request);
  const auto found = FindStored(request, Inspected(request), StatusOf(source));
  EXPECT_EQ(found ? found->path : "",
            c.found[0] != '\0' ? StorePath(source, c.found) : std::string());
  EXPECT_EQ(machine_.Runs(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Order, FindStoredTest,
    testing::Values(SlotCase{"NothingStored", {}, Nothing, ""},
                    SlotCase{
                        "PixdeckFirst", {{kPixdeck}, {kOldPixdeck}, {kDocdeck}}, Nothing, kPixdeck},
                    SlotCase{"OldPixdeckSecond", {{kOldPixdeck}, {kDocdeck}}, Nothing, kOldPixdeck},
                    SlotCase{"DocdeckThird", {{kDocdeck}}, Nothing, kDocdeck},
                    SlotCase{"PixdeckSwitchedOff", {{kPixdeck}, {kDocdeck}}, OnlyDocdeck, kDocdeck},
                    SlotCase{"DocdeckSwitchedOff", {{kDocdeck}}, OnlyPixdeck, ""},
                    SlotCase{"OtherSize", {{"VEXAFILE_THUMB_S.jpg"}}, Nothing, ""}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    Index, FindStoredTest,
    testing::Values(SlotCase{"NotIndexed", {{kPixdeck}, {kDocdeck}}, Nothing, kDocdeck, false},
                    SlotCase{"NotIndexedAnyShare", {{kPixdeck}}, AnyShare, kPixdeck, false},
                    SlotCase{"Indexed", {{kPixdeck}}, Nothing, kPixdeck, true},
                    SlotCase{"DocdeckNeedsNoIndex", {{kDocdeck}}, OnlyDocdeck, kDocdeck, false}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    Freshness, FindStoredTest,
    testing::Values(
        SlotCase{"StaleDocdeck", {{kDocdeck, kJpeg, kSourceTime - 1}}, Nothing, ""},
        SlotCase{"NewerDocdeck", {{kDocdeck, kJpeg, kSourceTime + 1}}, Nothing, ""},
        SlotCase{"PixdeckOfAnyAge", {{kPixdeck, kJpeg, kSourceTime - 9}}, Nothing, kPixdeck}),
    CaseName());

void Turned(ThumbnailRequest& request) { request.turns = 1; }
void Animated(ThumbnailRequest& request) { request.animated_gif = true; }
void Avatar(ThumbnailRequest& request) { request = ForAvatar(request.source, 64, 64); }
void FreeBox(ThumbnailRequest& request) { request = ForBox(request.source, 300, 200); }
void TallFreeBoxTurned(ThumbnailRequest& request) {
  request = ForBox(request.source, 200, 300);
  request.turns = 1;
}

INSTANTIATE_TEST_SUITE_P(
    Names, FindStoredTest,
    testing::Values(
        SlotCase{
            "Turned", {{"VEXAFILE_THUMB_B_r1.jpg"}, {kDocdeck}}, Turned, "VEXAFILE_THUMB_B_r1.jpg"},
        SlotCase{"PixdeckForAllTurns", {{kPixdeck}}, Turned, kPixdeck},
        SlotCase{
            "FreeBox", {{"VEXAFILE_THUMB_300x200.jpg"}}, FreeBox, "VEXAFILE_THUMB_300x200.jpg"},
        SlotCase{"FreeBoxAsStored",
                 {{"VEXAFILE_THUMB_300x200_r1.jpg"}},
                 TallFreeBoxTurned,
                 "VEXAFILE_THUMB_300x200_r1.jpg"},
        SlotCase{"AvatarSlotAlone",
                 {{"VEXAAVATAR_64x64.jpg"}, {kPixdeck}, {kDocdeck}},
                 Avatar,
                 "VEXAAVATAR_64x64.jpg"},
        SlotCase{"StaleAvatar", {{"VEXAAVATAR_64x64.jpg", kJpeg, 1}}, Avatar, ""},
        SlotCase{"Png", {{"VEXAFILE_THUMB_B.png"}}, Nothing, "VEXAFILE_THUMB_B.png", true, "a.png"},
        SlotCase{"AnimatedGif",
                 {{"VEXAFILE_THUMB_B.gif"}},
                 Animated,
                 "VEXAFILE_THUMB_B.gif",
                 true,
                 "a.gif"},
        SlotCase{"StillGif", {{"VEXAFILE_THUMB_B.gif"}}, Nothing, "", true, "a.gif"}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(PhotoAlbumThumbnailsThatCannotBeTurned, FindStoredTest,
                         testing::Values(SlotCase{"PngTurned",
                                                  {{"VEXAPHOTO_THUMB_B.png", "\x89PNG\r\n\x1a\n"}},
                                                  Turned,
                                                  "",
                                                  true,
                                                  "a.png"},
                                         SlotCase{"PngUpright",
                                                  {{"VEXAPHOTO_THUMB_B.png", "\x89PNG\r\n\x1a\n"}},
                                                  Nothing,
                                                  "VEXAPHOTO_THUMB_B.png",
                                                  true,
                                                  "a.png"},
                                         SlotCase{
                                             "OtherDataTurned", {{kPixdeck, kBmp}}, Turned, ""}),
                         CaseName());

void AnyShareNoPixdeck(ThumbnailRequest& request) {
  request.any_share = true;
  request.pixdeck = false;
}

INSTANTIATE_TEST_SUITE_P(
    Videos, FindStoredTest,
    testing::Values(
        SlotCase{"Screenshot", {{kScreenshot, kJpeg, 1}}, Nothing, kScreenshot, true, "a.mp4"},
        SlotCase{"PixdeckBeforeScreenshot",
                 {{kScreenshot}, {kPixdeck}},
                 Nothing,
                 kPixdeck,
                 true,
                 "a.mp4"},
        SlotCase{"ScreenshotNotIndexed", {{kScreenshot}}, Nothing, "", false, "a.mp4"},
        SlotCase{
            "ScreenshotAnyShare", {{kScreenshot}}, AnyShareNoPixdeck, kScreenshot, false, "a.mp4"},
        SlotCase{"NoDocdeckForVideos", {{kDocdeck}}, Nothing, "", true, "a.mp4"},
        SlotCase{"NoScreenshotForPictures", {{kScreenshot}}, Nothing, "", true, "a.jpg"}),
    CaseName());

class FoundThumbnailTest : public ServiceTest {
 protected:
  FoundThumbnailTest() { WritePhoto(source_, {800, 600}); }
  std::optional<Thumbnail> Find() const {
    ThumbnailRequest request = ForLabel(source_, kBig);
    request.any_share = true;
    request.turns = turns_;
    return FindStored(request, Inspected(request), StatusOf(source_));
  }

  const std::string source_ = Picture("a.jpg");
  int turns_ = 0;
};

TEST_F(FoundThumbnailTest, BmpDataUnderAJpegsNameAreTold) {
  WriteStored(source_, kDocdeck, kBmp);
  const auto found = Find();
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->bmp_data);
  EXPECT_EQ(found->mime, "image/bmp");
}

TEST_F(FoundThumbnailTest, AnotherContentOfTheSameSizeAndTimeIsTold) {
  machine_.clock_ahead = 60;  // what is stored is not new
  WriteStored(source_, kDocdeck, kBmp);
  ASSERT_TRUE(Find()->bmp_data);
  ASSERT_TRUE(Find()->bmp_data);
  WriteStored(source_, kDocdeck, std::string(kJpeg).substr(0, sizeof(kBmp) - 1));
  EXPECT_FALSE(Find()->bmp_data);
}

TEST_F(FoundThumbnailTest, AJpegIsOne) {
  WriteStored(source_, kDocdeck, kJpeg);
  const auto found = Find();
  ASSERT_TRUE(found);
  EXPECT_FALSE(found->bmp_data);
  EXPECT_EQ(found->mime, "image/jpeg");
  EXPECT_EQ(found->turns_to_come, 0);
}

TEST_F(FoundThumbnailTest, APhotoAlbumThumbnailIsTurnedWhenSent) {
  WriteStored(source_, kPixdeck, kJpeg);
  EXPECT_EQ(Find()->turns_to_come, 0);
  turns_ = 3;
  EXPECT_EQ(Find()->turns_to_come, 3);
}

TEST_F(FoundThumbnailTest, AScreenshotIsAJpegThatIsNotTurned) {
  kit::WriteFile(Picture("a.mp4"), "film");
  WriteStored(Picture("a.mp4"), kScreenshot, kJpeg);
  ThumbnailRequest request = ForLabel(Picture("a.mp4"), kSmall);
  request.any_share = true;
  request.turns = 1;
  const auto found = FindStored(request, Inspected(request), StatusOf(request.source));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->mime, "image/jpeg");
  EXPECT_EQ(found->turns_to_come, 0);
}

TEST_F(FoundThumbnailTest, ARawFileOfUnknownTypeHasAStoredThumbnailToo) {
  kit::WriteFile(Picture("a.x3f"), "no picture that the metadata reader knows");
  SetModificationTime(Picture("a.x3f"), kSourceTime);
  WriteStored(Picture("a.x3f"), kDocdeck, kJpeg);
  const ThumbnailRequest request = ForLabel(Picture("a.x3f"), kBig);
  const ThumbInfo info = Inspected(request);
  ASSERT_FALSE(info.IsGood());
  EXPECT_TRUE(FindStored(request, info, StatusOf(request.source)));
}

struct PlantedCase {
  const char* name;
  std::function<void(const std::string& entry, const std::string& target)> plant;
};

class PlantedFileTest : public FoundThumbnailTest,
                        public testing::WithParamInterface<PlantedCase> {};

// Whoever may write to the share may write to its stores.
TEST_P(PlantedFileTest, IsNotTaken) {
  kit::WriteFile(elsewhere_ / "secret", kJpeg);
  SetModificationTime(elsewhere_ / "secret", kSourceTime);
  ASSERT_TRUE(file::MakeEADir(source_));
  GetParam().plant(StorePath(source_, kDocdeck), elsewhere_ / "secret");
  EXPECT_FALSE(Find());
  EXPECT_FALSE(StatusOfStoredFile(StorePath(source_, kDocdeck)));
}

void MoveAwayAndLink(const std::string& directory) {
  std::filesystem::rename(directory, directory + ".moved");
  std::filesystem::create_directory_symlink(directory + ".moved", directory);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PlantedFileTest,
    testing::Values(PlantedCase{"Link",
                                [](const auto& entry, const auto& target) {
                                  std::filesystem::create_symlink(target, entry);
                                }},
                    PlantedCase{"DanglingLink",
                                [](const auto& entry, const auto&) {
                                  std::filesystem::create_symlink("/nonexistent", entry);
                                }},
                    PlantedCase{"LinkedStoreDirectory",
                                [](const auto& entry, const auto& target) {
                                  std::filesystem::copy_file(target, entry);
                                  SetModificationTime(entry, kSourceTime);
                                  MoveAwayAndLink(file::Dirname(entry));
                                }},
                    PlantedCase{"LinkedHiddenFolder",
                                [](const auto& entry, const auto& target) {
                                  std::filesystem::copy_file(target, entry);
                                  SetModificationTime(entry, kSourceTime);
                                  MoveAwayAndLink(file::Dirname(file::Dirname(entry)));
                                }},
                    PlantedCase{"Folder",
                                [](const auto& entry, const auto&) {
                                  std::filesystem::create_directory(entry);
                                  SetModificationTime(entry, kSourceTime);
                                }},
                    PlantedCase{"Fifo",
                                [](const auto& entry, const auto&) {
                                  kit::WriteFifo(entry);
                                  SetModificationTime(entry, kSourceTime);
                                }}),
    CaseName());

}  // namespace
}  // namespace vexathumb::service
