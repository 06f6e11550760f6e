#include "service/build/thumbnail_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/picture/content_type.h"
#include "unit/service/service_test.h"
#include "unit/service/x3f.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class BuildTest : public ServiceTest {
 protected:
  ~BuildTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()); }
};

struct SourceCase {
  const char* name;
  const char* source;
  std::function<void(const std::string& path)> write;
  const char* entry;
  const char* mime;
  const char* corners = kit::kPictureCorners;
};

void WriteSidewaysJpeg(const std::string& path) { WritePhoto(path, {800, 600}, 6); }
void WriteMirroredJpeg(const std::string& path) { WritePhoto(path, {800, 600}, 2); }
void WriteUprightJpeg(const std::string& path) { WritePhoto(path, {800, 600}); }
void WriteLargePng(const std::string& path) { kit::WritePng(path, {{800, 600}, 0}); }
void WriteLargeTiff(const std::string& path) { kit::WriteTiff(path, {{800, 600}, 6}); }
void WriteLargeWebp(const std::string& path) { kit::WriteWebp(path, {{800, 600}, 0}); }
void WriteLargeHeic(const std::string& path) { kit::WriteHeic(path, {{800, 600}, 6}); }
void WriteLargeBmp(const std::string& path) { kit::WriteBmp(path, {800, 600}); }
void WriteLargeGif(const std::string& path) { kit::WriteGif(path, {800, 600}); }
void WriteLargeDng(const std::string& path) {
  kit::DngOptions options;
  options.size = {800, 600};
  options.preview = kit::RawPreview::kJpegStrip;
  options.preview_size = {640, 480};
  kit::WriteDng(path, options);
}

const SourceCase kPictures[] = {
    {"Jpeg", "a.jpg", WriteUprightJpeg, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
    {"SidewaysJpeg", "a.jpg", WriteSidewaysJpeg, "VEXAFILE_THUMB_M_r1.jpg", "image/jpeg"},
    {"MirroredJpeg", "a.jpg", WriteMirroredJpeg, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
    {"Png", "a.png", WriteLargePng, "VEXAFILE_THUMB_M.png", "image/png"},
    {"Tiff", "a.tif", WriteLargeTiff, "VEXAFILE_THUMB_M_r1.jpg", "image/jpeg"},
    {"Webp", "a.webp", WriteLargeWebp, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
    {"Heic", "a.heic", WriteLargeHeic, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
    {"Bmp", "a.bmp", WriteLargeBmp, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
    {"Gif", "a.gif", WriteLargeGif, "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
};

const SourceCase kRawFiles[] = {
    {"Raw", "a.dng", WriteLargeDng, "VEXAFILE_THUMB_M.jpg", "image/jpeg",
     "cyan magenta white black"},
    {"RawOfUnknownType", "a.x3f", [](const auto& path) { WriteX3f(path); }, "VEXAFILE_THUMB_M.jpg",
     "image/jpeg"},
    {"SidewaysRawOfUnknownType", "a.x3f", [](const auto& path) { WriteX3f(path, 90); },
     "VEXAFILE_THUMB_M.jpg", "image/jpeg"},
};

class BuiltSourceTest : public BuildTest, public testing::WithParamInterface<SourceCase> {
 protected:
  BuiltSourceTest() {
    GetParam().write(source_);
    SetModificationTime(source_, kSourceTime);
  }

  void ExpectThumbnail(const Thumbnail& picture) const {
    EXPECT_EQ(picture.mime, GetParam().mime);
    EXPECT_EQ(ContentTypeOf(picture.path), GetParam().mime);
    EXPECT_EQ(kit::Corners(picture.path), GetParam().corners);
    const kit::PictureInfo info = kit::Examine(picture.path);
    EXPECT_LE(std::max(info.width, info.height), 2 * 360) << "the decoder's steps are halves";
    EXPECT_EQ(ModificationTimeOf(picture.path), kSourceTime);
  }

  const std::string source_ = Picture(GetParam().source);
};

TEST_P(BuiltSourceTest, IsStoredUprightInThePromisedForm) {
  const auto picture = Build(ForLabel(source_, kMedium));
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->path, StorePath(source_, GetParam().entry));
  EXPECT_NE(picture->owner, Owner::kCaller);
  ExpectThumbnail(*picture);
  EXPECT_THAT(Stored(source_), ElementsAre(GetParam().entry));
}

TEST_P(BuiltSourceTest, IsAHitFromThenOn) {
  const ThumbnailRequest request = ForLabel(source_, kMedium);
  ASSERT_TRUE(Build(request));
  const int runs = machine_.Runs();
  const Thumbnail again = Obtain(request);
  EXPECT_EQ(again.outcome, Outcome::kPicture);
  EXPECT_EQ(again.path, StorePath(source_, GetParam().entry));
  EXPECT_EQ(machine_.Runs(), runs);
}

INSTANTIATE_TEST_SUITE_P(Pictures, BuiltSourceTest, testing::ValuesIn(kPictures), CaseName());
INSTANTIATE_TEST_SUITE_P(RawFiles, BuiltSourceTest, testing::ValuesIn(kRawFiles), CaseName());

class BuiltOutsideStoreTest : public BuiltSourceTest {
 protected:
  void ExpectThrowAway() const {
    const auto picture = Build(ForLabel(source_, kMedium));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->owner, Owner::kCaller);
    EXPECT_THAT(picture->path, StartsWith("/var/tmp/"));
    ExpectThumbnail(*picture);
    unlink(picture->path.c_str());
  }
};

TEST_P(BuiltOutsideStoreTest, IsInThePromisedFormOnAVolumeWithoutStores) {
  machine_.volume_type = FSTYPE_NFS;
  ExpectThrowAway();
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre(GetParam().source));
}

TEST_P(BuiltOutsideStoreTest, IsInThePromisedFormWhereTheStoreCannotBeMade) {
  kit::WriteFile(share_ / ".vexaea", "in the way");
  ExpectThrowAway();
}

TEST_P(BuiltOutsideStoreTest, IsInThePromisedFormWhereTheStoreIsFull) {
  const std::string store = share_ / ".vexaea";
  machine_.full_directory = store;
  machine_.on_run = [store](const std::string& /*program*/, const std::vector<std::string>& argv) {
    const bool into_store = argv.back().find(store) != std::string::npos ||
                            argv[argv.size() - 2].find(store) != std::string::npos;
    return into_store ? ToolFault::kFails : ToolFault::kNone;
  };
  ExpectThrowAway();
  EXPECT_THAT(Stored(source_), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Pictures, BuiltOutsideStoreTest, testing::ValuesIn(kPictures), CaseName());

}  // namespace
}  // namespace vexathumb::service
