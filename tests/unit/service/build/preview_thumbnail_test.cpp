#include "service/build/preview_thumbnail.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "common/util/util.h"
#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/picture/content_type.h"
#include "service/picture/picture_renderer.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kStored[] = "VEXAFILE_THUMB_S.jpg";

class EmbeddedPreviewTest : public ServiceTest {
 protected:
  ~EmbeddedPreviewTest() override {
    EXPECT_THAT(OwnTemporaries(), IsEmpty()) << "nothing may be left";
  }

  static void WriteWithPreview(const std::string& path, int orientation) {
    kit::JpegOptions options;
    options.size = {800, 600};
    options.orientation = orientation;
    options.exif_thumbnail = kit::Size{160, 120};
    kit::WriteJpeg(path, options);
    SetModificationTime(path, kSourceTime);
  }

  const std::string source_ = Picture("a.jpg");
  const std::string target_ = elsewhere_ / "thumbnail.jpg";
};

struct TurnCase {
  std::string name;
  int orientation;
  int turns;
  const char* corners;
  const char* entry;
  bool copied;
};

class UprightPreviewTest : public EmbeddedPreviewTest,
                           public testing::WithParamInterface<TurnCase> {};

TEST_P(UprightPreviewTest, IsStoredUprightWithTheSourcesTime) {
  WriteWithPreview(source_, GetParam().orientation);
  ThumbnailRequest request = ForLabel(source_, kSmall);
  request.turns = GetParam().turns;
  const auto picture = Build(request);
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(source_, GetParam().entry));
  EXPECT_EQ(picture->mime, "image/jpeg");
  EXPECT_NE(picture->owner, Owner::kCaller);
  EXPECT_EQ(kit::Corners(picture->path), GetParam().corners);
  EXPECT_EQ(ModificationTimeOf(picture->path), kSourceTime);
  EXPECT_EQ(machine_.Runs() == 0, GetParam().copied);
  EXPECT_THAT(Stored(source_), ElementsAre(GetParam().entry));
}

TEST_P(UprightPreviewTest, IsMadeWithNoToolByARendererThatRuns) {
  SetEngine("auto");
  if (PictureRenderer() == nullptr) GTEST_SKIP() << "built without libvips";
  PictureRenderer()->Start();
  WriteWithPreview(source_, GetParam().orientation);
  ThumbnailRequest request = ForLabel(source_, kSmall);
  request.turns = GetParam().turns;
  const auto picture = Build(request);
  ASSERT_TRUE(picture);
  EXPECT_EQ(kit::Corners(picture->path), GetParam().corners);
  EXPECT_EQ(machine_.Runs(), 0);
  EXPECT_THAT(Stored(source_), ElementsAre(GetParam().entry));
}

constexpr char kUpright[] = "cyan magenta white black";
constexpr char kOnceMore[] = "white cyan black magenta";

INSTANTIATE_TEST_SUITE_P(
    Orientations, UprightPreviewTest,
    testing::Values(TurnCase{"None", 0, 0, kUpright, kStored, true},
                    TurnCase{"Normal", 1, 0, kUpright, kStored, true},
                    TurnCase{"Mirrored", 2, 0, kUpright, kStored, false},
                    TurnCase{"UpsideDown", 3, 0, kUpright, "VEXAFILE_THUMB_S_r2.jpg", false},
                    TurnCase{"MirroredUpsideDown", 4, 0, kUpright, "VEXAFILE_THUMB_S_r2.jpg",
                             false},
                    TurnCase{"MirroredRight", 5, 0, kUpright, "VEXAFILE_THUMB_S_r1.jpg", false},
                    TurnCase{"Right", 6, 0, kUpright, "VEXAFILE_THUMB_S_r1.jpg", false},
                    TurnCase{"MirroredLeft", 7, 0, kUpright, "VEXAFILE_THUMB_S_r3.jpg", false},
                    TurnCase{"Left", 8, 0, kUpright, "VEXAFILE_THUMB_S_r3.jpg", false},
                    TurnCase{"TurnedByTheUser", 1, 1, kOnceMore, "VEXAFILE_THUMB_S_r1.jpg", false},
                    TurnCase{"TurnedByBoth", 6, 1, kOnceMore, "VEXAFILE_THUMB_S_r2.jpg", false}),
    CaseName());

TEST_F(EmbeddedPreviewTest, OfAPngIsConvertedToThePromisedForm) {
  const std::string jpeg = elsewhere_ / "thumbnail.jpg";
  WritePhoto(jpeg, {160, 120});
  const std::string png = Picture("a.png");
  kit::WritePng(png, {{800, 600}, 0});
  kit::AddExifThumbnail(png, jpeg);
  const auto picture = Build(ForLabel(png, kSmall));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(png, "VEXAFILE_THUMB_S.png"));
  EXPECT_EQ(picture->mime, "image/png");
  EXPECT_EQ(ContentTypeOf(picture->path), kPngType);
}

TEST_F(EmbeddedPreviewTest, OfARawFileIsConverted) {
  const std::string raw = Picture("a.dng");
  kit::WriteDng(raw);
  SetModificationTime(raw, kSourceTime);
  const auto picture = Build(ForLabel(raw, kSmall));
  ASSERT_TRUE(picture);
  EXPECT_EQ(ContentTypeOf(picture->path), kJpegType);
  EXPECT_EQ(kit::Corners(picture->path), kUpright);
  EXPECT_EQ(ModificationTimeOf(picture->path), kSourceTime);
}

TEST_F(EmbeddedPreviewTest, ReplacesAStaleThumbnail) {
  WriteWithPreview(source_, 1);
  WriteStored(source_, kStored, "stale", 1);
  ASSERT_TRUE(Build(ForLabel(source_, kSmall)));
  EXPECT_EQ(kit::Corners(StorePath(source_, kStored)), kUpright);
}

TEST_F(EmbeddedPreviewTest, NoneIsNone) {
  WritePhoto(source_, {800, 600});
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kSmall), SourceVersion(source_), target_));
  EXPECT_FALSE(std::filesystem::exists(share_ / ".vexaea"));
}

TEST_F(EmbeddedPreviewTest, OneThatIsTooSmallIsNone) {
  WriteWithPreview(source_, 1);
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kBig), SourceVersion(source_), target_));
  EXPECT_THAT(Stored(source_), IsEmpty());
}

TEST_F(EmbeddedPreviewTest, IsNotUsedWithoutAStore) {
  WriteWithPreview(source_, 1);
  machine_.volume_type = FSTYPE_NFS;
  const auto picture = Build(ForLabel(source_, kSmall));
  ASSERT_TRUE(picture);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.jpg"));
  unlink(picture->path.c_str());
}

TEST_F(EmbeddedPreviewTest, IsNotUsedWhereTheStoreCannotBeMade) {
  WriteWithPreview(source_, 1);
  kit::WriteFile(share_ / ".vexaea", "");
  const auto picture = Build(ForLabel(source_, kSmall));
  ASSERT_TRUE(picture);
  EXPECT_EQ(kit::Corners(picture->path), kit::kPictureCorners);
  unlink(picture->path.c_str());
}

TEST_F(EmbeddedPreviewTest, ThatCannotBeTurnedLeavesNothing) {
  WriteWithPreview(source_, 6);
  machine_.Break("convert", ToolFault::kFails);
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kSmall), SourceVersion(source_), target_));
  EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(EmbeddedPreviewTest, OfASourceWithABrokenOrientationLeavesNothing) {
  WriteWithPreview(source_, 1);
  kit::AddExif(source_, {{"Exif.Image.Orientation", "sideways", Exiv2::asciiString}});
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kSmall), SourceVersion(source_), target_));
}

TEST_F(EmbeddedPreviewTest, OfAnotherFileInTheSourcesPlaceIsNotTaken) {
  WriteWithPreview(source_, 1);
  const SourceVersion version(source_);
  WriteWithPreview(Picture("other.jpg"), 1);
  std::filesystem::remove(source_);
  std::filesystem::create_symlink(Picture("other.jpg"), source_);
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kSmall), version, target_));
  std::filesystem::remove(source_);
  EXPECT_FALSE(MakeFromEmbeddedPreview(ForLabel(source_, kSmall), version, target_));
}

// 0: it has seen no file or a whole and current one; 1: another.
int WatchUntilDone(const std::string& path, const std::string& done) {
  while (!std::filesystem::exists(done)) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) continue;
    struct stat st = {};
    std::string bytes(1 << 20, '\0');
    const ssize_t size = fstat(file, &st) == 0 ? read(file, bytes.data(), bytes.size()) : -1;
    close(file);
    if (size < 4 || bytes.compare(static_cast<size_t>(size) - 2, 2, "\xff\xd9") != 0) return 1;
    if (st.st_mtime != kSourceTime) return 1;
  }
  return 0;
}

class AtomicPreviewTest : public EmbeddedPreviewTest,
                          public testing::WithParamInterface<TurnCase> {};

TEST_P(AtomicPreviewTest, IsWholeAndCurrentWheneverItIsThere) {
  WriteWithPreview(source_, GetParam().orientation);
  const std::string stored = StorePath(source_, GetParam().entry);
  Process reader([&] { return WatchUntilDone(stored, elsewhere_ / "done"); });
  for (int round = 0; round < 10; ++round) {
    unlink(stored.c_str());
    EXPECT_TRUE(Build(ForLabel(source_, kSmall)));
  }
  kit::WriteFile(elsewhere_ / "done", "");
  EXPECT_EQ(reader.Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, AtomicPreviewTest,
                         testing::Values(TurnCase{"Copied", 1, 0, "", kStored, true},
                                         TurnCase{"Turned", 6, 0, "", "VEXAFILE_THUMB_S_r1.jpg",
                                                  false}),
                         CaseName());

}  // namespace
}  // namespace vexathumb::service
