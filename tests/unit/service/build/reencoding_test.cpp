#include "service/build/reencoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/picture/content_type.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;

struct ContentCase {
  const char* name;
  std::string content;
  const char* type;
};

class ContentTypeTest : public ServiceTest, public testing::WithParamInterface<ContentCase> {};

TEST_P(ContentTypeTest, GoesByTheFirstBytes) {
  kit::WriteFile(Picture("a.jpg"), GetParam().content);
  EXPECT_EQ(ContentTypeOf(Picture("a.jpg")), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, ContentTypeTest,
    testing::Values(ContentCase{"Jpeg", "\xff\xd8\xff\xe1 and more", "image/jpeg"},
                    ContentCase{"Png", "\x89PNG\r\n\x1a\n and more", "image/png"},
                    ContentCase{"Gif", "GIF89a", "image/gif"},
                    ContentCase{"Bmp", "BM", "image/bmp"},
                    ContentCase{"Tiff", std::string("II*\0more", 8), ""},
                    ContentCase{"HalfASignature", "\x89PN", ""}, ContentCase{"Text", "BOM", ""},
                    ContentCase{"Empty", "", ""}),
    CaseName());

TEST_F(ContentTypeTest, NothingThatIsNoRegularFileHasOne) {
  kit::WriteFifo(Picture("fifo.jpg"));
  EXPECT_EQ(ContentTypeOf(Picture("fifo.jpg")), std::nullopt);
  EXPECT_EQ(ContentTypeOf(share_.path()), std::nullopt);
  EXPECT_EQ(ContentTypeOf(Picture("missing.jpg")), std::nullopt);
}

class CompactTest : public ServiceTest {
 protected:
  CompactTest() { WriteBmpThumbnail(); }

  void WriteBmpThumbnail() const {
    WriteDecodedJpeg(thumbnail_);
    chmod(thumbnail_.c_str(), 0640);
    SetModificationTime(thumbnail_, kSourceTime);
  }
  std::string Compacted(int quality) const {
    WriteBmpThumbnail();
    EXPECT_TRUE(Compact(thumbnail_, quality));
    return kit::ReadFile(thumbnail_);
  }

  const std::string thumbnail_ = Picture("thumbnail.jpg");
};

TEST_F(CompactTest, MakesBmpDataAJpegOfTheSamePicture) {
  EXPECT_TRUE(Compact(thumbnail_, 85));
  const kit::PictureInfo picture = kit::Examine(thumbnail_);
  EXPECT_EQ(picture.format, "JPEG");
  EXPECT_EQ(picture.width, 320);
  EXPECT_EQ(picture.height, 240);
  EXPECT_EQ(kit::Corners(thumbnail_), kit::kPictureCorners);
  EXPECT_EQ(machine_.Runs("cjpeg"), 1);
}

TEST_F(CompactTest, KeepsNameModeAndTime) {
  struct stat before = {};
  stat(thumbnail_.c_str(), &before);
  ASSERT_TRUE(Compact(thumbnail_, 85));
  struct stat after = {};
  stat(thumbnail_.c_str(), &after);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_mtim.tv_sec, kSourceTime);
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("thumbnail.jpg"));
}

TEST_F(CompactTest, QualityDecidesTheSize) {
  EXPECT_LT(Compacted(20).size(), Compacted(85).size());
  EXPECT_LT(Compacted(85).size(), Compacted(100).size());
}

TEST_F(CompactTest, AJpegStaysAsItIs) {
  kit::WriteJpeg(thumbnail_, {});
  const std::string before = kit::ReadFile(thumbnail_);
  EXPECT_TRUE(Compact(thumbnail_, 85));
  EXPECT_EQ(kit::ReadFile(thumbnail_), before);
  EXPECT_EQ(machine_.Runs(), 0);
}

TEST_F(CompactTest, AMissingFileIsNotCompacted) { EXPECT_FALSE(Compact(Picture("missing"), 85)); }

struct FaultCase {
  const char* name;
  ToolFault fault;
};

class FailedCompactionTest : public CompactTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FailedCompactionTest, LeavesTheFileAndNothingElse) {
  const std::string before = kit::ReadFile(thumbnail_);
  machine_.Break("cjpeg", GetParam().fault);
  EXPECT_FALSE(Compact(thumbnail_, 85));
  EXPECT_EQ(kit::ReadFile(thumbnail_), before);
  EXPECT_EQ(ModificationTimeOf(thumbnail_), kSourceTime);
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("thumbnail.jpg"));
}

INSTANTIATE_TEST_SUITE_P(Faults, FailedCompactionTest,
                         testing::Values(FaultCase{"Missing", ToolFault::kMissing},
                                         FaultCase{"Fails", ToolFault::kFails},
                                         FaultCase{"Killed", ToolFault::kTerminated}),
                         CaseName());

TEST_F(CompactTest, DamagedBmpDataStay) {
  kit::WriteFile(thumbnail_, "BM and nothing that follows");
  EXPECT_FALSE(Compact(thumbnail_, 85));
  EXPECT_EQ(kit::ReadFile(thumbnail_), "BM and nothing that follows");
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("thumbnail.jpg"));
}

// 0: it has only ever seen whole files; 1: it has seen part of one.
int ReadUntilGone(const std::string& path, const std::string& until) {
  while (!std::filesystem::exists(until)) {
    const std::string bytes = kit::ReadFile(path);
    const bool whole_bmp = bytes.rfind("BM", 0) == 0 && bytes.size() > 320 * 240 * 3;
    const bool whole_jpeg =
        bytes.rfind("\xff\xd8", 0) == 0 && bytes.substr(bytes.size() - 2) == "\xff\xd9";
    if (!whole_bmp && !whole_jpeg) return 1;
  }
  return 0;
}

TEST_F(CompactTest, APollingReaderSeesOnlyWholeFiles) {
  const std::string bmp = kit::ReadFile(thumbnail_);
  Process reader([&] { return ReadUntilGone(thumbnail_, elsewhere_ / "done"); });
  for (int round = 0; round < 20; ++round) {
    kit::WriteFile(Picture("next"), bmp);
    std::filesystem::rename(Picture("next"), thumbnail_);
    EXPECT_TRUE(Compact(thumbnail_, 85));
  }
  kit::WriteFile(elsewhere_ / "done", "");
  EXPECT_EQ(reader.Wait(), 0);
}

struct FormCase {
  const char* name;
  void (*write)(const std::string& path);
  const char* type;
  const char* format;
};

class ReencodeTest : public ServiceTest, public testing::WithParamInterface<FormCase> {};

TEST_P(ReencodeTest, GivesThePromisedType) {
  const std::string thumbnail = Picture("vexathumb_THUMB.jpg_1_2");
  GetParam().write(thumbnail);
  SetModificationTime(thumbnail, kSourceTime);
  EXPECT_TRUE(Reencode(thumbnail, GetParam().type));
  EXPECT_EQ(kit::Examine(thumbnail).format, GetParam().format);
  EXPECT_EQ(kit::Corners(thumbnail), kit::kPictureCorners);
  EXPECT_EQ(ModificationTimeOf(thumbnail), kSourceTime);
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("vexathumb_THUMB.jpg_1_2"));
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ReencodeTest,
    testing::Values(
        FormCase{"TiffToJpeg", [](const auto& path) { kit::WriteTiff(path); }, "image/jpeg",
                 "JPEG"},
        FormCase{"BmpToJpeg", [](const auto& path) { kit::WriteBmp(path); }, "image/jpeg", "JPEG"},
        FormCase{"HeicToJpeg", [](const auto& path) { kit::WriteHeic(path); }, "image/jpeg",
                 "JPEG"},
        FormCase{"GifToJpeg", [](const auto& path) { kit::WriteAnimatedGif(path); }, "image/jpeg",
                 "JPEG"},
        FormCase{"JpegToPng", [](const auto& path) { kit::WriteJpeg(path); }, "image/png", "PNG"}),
    CaseName());

TEST_F(ReencodeTest, LeavesWhatIsNoPicture) {
  kit::WriteFile(Picture("thumbnail"), "no picture");
  EXPECT_FALSE(Reencode(Picture("thumbnail"), "image/jpeg"));
  EXPECT_EQ(kit::ReadFile(Picture("thumbnail")), "no picture");
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("thumbnail"));
}

}  // namespace
}  // namespace vexathumb::service
