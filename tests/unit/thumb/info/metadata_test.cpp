#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;
using testing::IsEmpty;

struct TypeCase {
  const char* name;
  std::function<void(const std::string& path)> write;
  const char* mime;
  uint32_t width;
  uint32_t height;
};

class SourceTypeTest : public testing::TestWithParam<TypeCase> {};

// The name says text: the content alone counts.
TEST_P(SourceTypeTest, IsToldByContentWithItsStoredSize) {
  kit::TakeLog();
  const kit::TempDir dir;
  const std::string path = dir / "source.txt";
  GetParam().write(path);
  ThumbInfo info(path, kSmall, {120, 120});
  info.ExtractImgInfo(false);
  EXPECT_TRUE(info.IsGood());
  EXPECT_EQ(info.GetMimeType(), GetParam().mime);
  EXPECT_EQ(info.GetWidth(), GetParam().width);
  EXPECT_EQ(info.GetHeight(), GetParam().height);
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), "");
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

constexpr kit::Size kSize = {64, 48};

INSTANTIATE_TEST_SUITE_P(
    Formats, SourceTypeTest,
    testing::Values(
        TypeCase{"Jpeg",
                 [](const auto& path) {
                   kit::WriteJpeg(path, {kSize, 0, {}, {}, {}});
                 },
                 "image/jpeg", 64, 48},
        TypeCase{"JpegStoredSideways",
                 [](const auto& path) {
                   kit::WriteJpeg(path, {kSize, 6, {}, {}, {}});
                 },
                 "image/jpeg", 48, 64},
        TypeCase{"Png",
                 [](const auto& path) {
                   kit::WritePng(path, {kSize, 0});
                 },
                 "image/png", 64, 48},
        TypeCase{"TransparentPng", [](const auto& path) { kit::WriteTransparentPng(path, kSize); },
                 "image/png", 64, 48},
        TypeCase{"Gif", [](const auto& path) { kit::WriteGif(path, kSize); }, "image/gif", 64, 48},
        TypeCase{"AnimatedGif", [](const auto& path) { kit::WriteAnimatedGif(path, kSize); },
                 "image/gif", 64, 48},
        TypeCase{"Bmp", [](const auto& path) { kit::WriteBmp(path, kSize); }, "image/x-ms-bmp", 64,
                 48},
        TypeCase{"Tiff",
                 [](const auto& path) {
                   kit::WriteTiff(path, {kSize, 0});
                 },
                 "image/tiff", 64, 48},
        // A RIFF file, as AVI is, and yet an image.
        TypeCase{"Webp",
                 [](const auto& path) {
                   kit::WriteWebp(path, {kSize, 0});
                 },
                 "image/webp", 64, 48},
        TypeCase{"Heic",
                 [](const auto& path) {
                   kit::WriteHeic(path, {{128, 96}, 0});
                 },
                 "image/heic", 128, 96},
        TypeCase{"HeicStoredSideways",
                 [](const auto& path) {
                   kit::WriteHeic(path, {{128, 96}, 6});
                 },
                 "image/heic", 96, 128},
        TypeCase{"Avif",
                 [](const auto& path) {
                   kit::WriteAvif(path, {{128, 96}, 0});
                 },
                 "image/avif", 128, 96},
        TypeCase{"Dng", [](const auto& path) { kit::WriteDng(path, {}); }, "image/tiff", 400, 300},
        TypeCase{"Cr2",
                 [](const auto& path) {
                   kit::WriteCr2(path, {80, 60}, {160, 120});
                 },
                 "image/x-canon-cr2", 0, 0},
        TypeCase{"Cr3", [](const auto& path) { kit::WriteFile(path, kit::Cr3Content()); },
                 "image/x-canon-cr3", 0, 0}),
    CaseName());

class VideoTest : public testing::TestWithParam<const char*> {};

TEST_P(VideoTest, IsLeftAloneWhateverItsContent) {
  const kit::TempDir dir;
  const std::string path = dir / GetParam();
  kit::WriteJpeg(path, {{64, 48}, 6, {}, {}, {}});
  ThumbInfo info(path, kSmall, {120, 120});
  info.ExtractImgInfo(true);
  EXPECT_FALSE(info.IsGood());
  EXPECT_EQ(info.GetMimeType(), "");
  EXPECT_EQ(info.GetWidth(), 0U);
  EXPECT_EQ(info.GetHeight(), 0U);
  EXPECT_EQ(info.GetRotate(), 0);
}

INSTANTIATE_TEST_SUITE_P(Names, VideoTest, testing::Values("a.mp4", "A.MOV", "a.jpg.mkv", "mp4"));

TEST(MetadataTest, VideoExtensionOfTheFolderDoesNotCount) {
  const kit::TempDir dir;
  std::filesystem::create_directory(dir / "clips.mp4");
  const std::string path = dir / "clips.mp4/picture";
  kit::WriteJpeg(path, {{64, 48}, 0, {}, {}, {}});
  ThumbInfo info(path, kSmall, {120, 120});
  info.ExtractImgInfo(false);
  EXPECT_TRUE(info.IsGood());
}

TEST(MetadataTest, SecondReadOverwritesTheFirst) {
  const kit::TempDir dir;
  const std::string path = dir / "source";
  kit::WriteJpeg(path, {{64, 48}, 6, {}, {}, {}});
  ThumbInfo info(path, kSmall, {120, 120});
  info.ExtractImgInfo(false);
  kit::WritePng(path, {{30, 20}, 0});
  info.ExtractImgInfo(false);
  EXPECT_EQ(info.GetMimeType(), "image/png");
  EXPECT_EQ(info.GetWidth(), 30U);
  EXPECT_EQ(info.GetHeight(), 20U);
  EXPECT_EQ(info.GetRotate(), 0);
}

TEST(MetadataTest, WhatTheCallerSetStays) {
  const kit::TempDir dir;
  const std::string path = dir / "source";
  kit::WriteJpeg(path, {{64, 48}, 6, {}, {}, {}});
  ThumbInfo info(path, kSmall, {120, 120});
  info.SetUserRotate(2);
  info.SetEnableGIF(true);
  info.SetCropMode(true);
  info.ExtractImgInfo(false);
  EXPECT_EQ(info.GetUserRotate(), 2);
  EXPECT_TRUE(info.GetEnableGIF());
  EXPECT_TRUE(info.GetCropMode());
  EXPECT_EQ(info.GetSize(), kSmall);
  EXPECT_EQ(info.GetDimension().width_, 120U);
}

}  // namespace
}  // namespace vexathumb
