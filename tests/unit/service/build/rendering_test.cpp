// Pictures by the renderer, as our programs have them made.
#include "service/build/rendering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/ssim.h"
#include "kit/run_tool.h"
#include "service/build/thumbnail_builder.h"
#include "service/index/source_build.h"
#include "service/picture/inspection.h"
#include "service/picture/picture_renderer.h"
#include "service/store/source_mark.h"
#include "service/store/store_files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

class RenderingTest : public ServiceTest {
 protected:
  RenderingTest() { SetEngine("auto"); }
  ~RenderingTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()) << "nothing may be left"; }

  void SetUp() override {
    if (PictureRenderer() == nullptr) GTEST_SKIP() << "built without libvips";
  }

  SourceReport BuildAll(const std::string& source) const {
    SourceBuildOptions options;
    options.sizes = {kSmall, kMedium, kBig, kExtraLarge};
    options.lock_directory = options_.lock_directory;
    options.limits = options_.limits;
    return BuildSource(source, options);
  }

  // Cuts a file after a share of its bytes.
  static void Cut(const std::string& path, double share) {
    std::filesystem::resize_file(
        path,
        static_cast<uintmax_t>(static_cast<double>(std::filesystem::file_size(path)) * share));
    SetModificationTime(path, kSourceTime);
  }
};

struct TypeCase {
  std::string name;
  const char* file;
  std::function<void(const std::string& path, int orientation)> write;
  const char* format = "JPEG";  // of its thumbnails
};

std::vector<TypeCase> Types() {
  const kit::Size size = {1600, 1200};
  return {{"Jpeg", "a.jpg", [=](const auto& path, int turn) { WritePhoto(path, size, turn); }},
          {"Png", "a.png",
           [=](const auto& path, int turn) {
             kit::WritePng(path, {size, turn});
           },
           "PNG"},
          {"Tiff", "a.tif",
           [=](const auto& path, int turn) {
             kit::WriteTiff(path, {size, turn});
           }},
          {"Webp", "a.webp",
           [=](const auto& path, int turn) {
             kit::WriteWebp(path, {size, turn});
           }},
          {"Heic", "a.heic",
           [=](const auto& path, int turn) {
             kit::WriteHeic(path, {size, turn});
           }},
          {"Avif", "a.avif", [=](const auto& path, int turn) {
             kit::WriteAvif(path, {size, turn});
           }}};
}

class RenderedTypeTest : public RenderingTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(RenderedTypeTest, IsBuiltInAllSizesWithoutATool) {
  const std::string source = Picture(GetParam().file);
  GetParam().write(source, 1);
  SetModificationTime(source, kSourceTime);
  const SourceReport report = BuildAll(source);
  EXPECT_EQ(report.state, BuildState::kBuilt) << report.cause.text;
  EXPECT_EQ(machine_.Runs(), 0);
  const std::vector<std::pair<const char*, kit::Size>> sizes = {
      {"S", {120, 90}}, {"M", {360, 270}}, {"B", {640, 480}}, {"XL", {1280, 960}}};
  ASSERT_EQ(report.sizes.size(), sizes.size());
  for (size_t i = 0; i < sizes.size(); ++i) {
    const kit::PictureInfo info = kit::Examine(report.sizes[i].output);
    EXPECT_EQ(info.format, GetParam().format);
    EXPECT_EQ(info.width, sizes[i].second.width);
    EXPECT_EQ(info.height, sizes[i].second.height);
    EXPECT_EQ(kit::Corners(report.sizes[i].output), kit::kPictureCorners);
    EXPECT_EQ(ModificationTimeOf(report.sizes[i].output), kSourceTime);
  }
  EXPECT_EQ(BuildAll(source).state, BuildState::kCurrent);
}

// The camera's turns and mirrors, and the user's on top.
TEST_P(RenderedTypeTest, LooksAsTheToolsHaveItWhicheverWayItLies) {
  for (const int orientation : {2, 5, 6, 8}) {
    const std::string source = Picture(GetParam().file);
    GetParam().write(source, orientation);
    SetModificationTime(source, kSourceTime);
    ThumbnailRequest request = ForLabel(source, kMedium);
    request.turns = orientation % 3;
    SetEngine("auto");
    const auto rendered = Build(request);
    ASSERT_TRUE(rendered) << orientation;
    const std::string kept = elsewhere_ / "rendered";
    std::filesystem::copy_file(rendered->path, kept,
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove_all(StoreDirectoryOf(source));
    SetEngine("tools");
    const auto by_tools = Build(request);
    ASSERT_TRUE(by_tools) << orientation;
    EXPECT_EQ(kit::Corners(kept), kit::Corners(by_tools->path)) << orientation;
    std::filesystem::remove_all(StoreDirectoryOf(source));
  }
}

INSTANTIATE_TEST_SUITE_P(Types, RenderedTypeTest, testing::ValuesIn(Types()), CaseName());

TEST_F(RenderingTest, HasTheBoxsOwnPixelsAndIsNeverEnlarged) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {500, 400}, 6);
  const SourceReport report = BuildAll(source);
  EXPECT_EQ(kit::Examine(report.sizes[1].output).width, 360);
  EXPECT_EQ(kit::Examine(report.sizes[1].output).height, 288);
  EXPECT_EQ(kit::Examine(report.sizes[2].output).width, 500);
  EXPECT_EQ(kit::Examine(report.sizes[2].output).height, 400);
}

TEST_F(RenderingTest, FillsTheBoxOfAnAvatarFromTheSourceItself) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {800, 600}, 3);
  const auto avatar = Build(ForAvatar(source, 200, 50));
  ASSERT_TRUE(avatar);
  EXPECT_EQ(kit::Examine(avatar->path).width, 200);
  EXPECT_EQ(kit::Examine(avatar->path).height, 50);
  EXPECT_EQ(kit::Corners(avatar->path), kit::kPictureCorners);
  EXPECT_THAT(Stored(source), ElementsAre("VEXAAVATAR_200x50_r2.jpg"));
  EXPECT_EQ(machine_.Runs(), 0);
}

TEST_F(RenderingTest, KeepsTransparency) {
  const std::string source = Picture("a.png");
  kit::WriteTransparentPng(source, {400, 300});
  SetModificationTime(source, kSourceTime);
  const auto picture = Build(ForLabel(source, kSmall));
  ASSERT_TRUE(picture);
  EXPECT_EQ(kit::Corners(picture->path), "red green blue transparent");
}

// What it has no loader for is made by the tools once, and smaller sizes from that.
TEST_F(RenderingTest, MakesSmallerSizesOfWhatTheToolsHaveMade) {
  const std::string source = Picture("a.bmp");
  kit::WriteBmp(source, {1600, 1200});
  SetModificationTime(source, kSourceTime);
  EXPECT_EQ(BuildAll(source).state, BuildState::kBuilt);
  EXPECT_EQ(machine_.Runs(), 1);
  for (const std::string& name : Stored(source)) {
    EXPECT_EQ(kit::Corners(StorePath(source, name)), kit::kPictureCorners) << name;
  }
}

struct UnknownCase {
  const char* name;
  const char* file;
  std::vector<std::string> convert;
  const char* type;
};

// Types that the library does not know, or not in this form.
class UnknownTypeTest : public RenderingTest, public testing::WithParamInterface<UnknownCase> {};

TEST_P(UnknownTypeTest, IsBuiltWithTheRenderersFacts) {
  const std::string source = Picture(GetParam().file);
  const std::string png = elsewhere_ / "a.png";
  kit::WritePng(png, {{400, 300}});
  std::vector<std::string> command = {"/usr/bin/vips", "copy", png,
                                      source + GetParam().convert.front()};
  kit::RunTool(command);
  SetModificationTime(source, kSourceTime);
  const InspectedSource inspected(source, true);
  EXPECT_EQ(inspected.inspection().result, InspectionResult::kRead);
  EXPECT_EQ(inspected.info().GetMimeType(), GetParam().type);
  EXPECT_EQ(inspected.info().GetWidth(), 400U);
  EXPECT_EQ(BuildAll(source).state, BuildState::kBuilt);
  EXPECT_EQ(kit::Corners(StorePath(source, "VEXAFILE_THUMB_S.jpg")), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownTypeTest,
                         testing::Values(UnknownCase{"JpegXl", "a.jxl", {""}, "image/jxl"},
                                         UnknownCase{
                                             "BigTiff", "a.tif", {"[bigtiff]"}, "image/tiff"}),
                         CaseName());

TEST_F(RenderingTest, ShowsWhatCanBeReadOfADamagedSource) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  Cut(source, 0.8);
  const SourceReport report = BuildAll(source);
  EXPECT_EQ(report.state, BuildState::kBuilt) << report.cause.text;
  EXPECT_TRUE(report.is_damaged);
  EXPECT_TRUE(BuildAll(source).is_damaged) << "which its thumbnails say";
  const auto facts = ReadMarkedFacts(StorePath(source, "VEXAFILE_THUMB_S.jpg"), StatusOf(source));
  ASSERT_TRUE(facts);
  EXPECT_TRUE(facts->is_damaged);
}

TEST_F(RenderingTest, RefusesASourceOfWhichLessThanHalfCanBeRead) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  Cut(source, 0.2);
  EXPECT_EQ(BuildAll(source).state, BuildState::kFailed);
}

TEST_F(RenderingTest, WaitsWithADamagedSourceThatWasWrittenAMomentAgo) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  Cut(source, 0.8);
  const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  SetModificationTime(source, now - 30);
  const SourceReport report = BuildAll(source);
  EXPECT_EQ(report.state, BuildState::kPostponed);
  EXPECT_EQ(report.cause.text, cause::kBeingWritten.text);
  EXPECT_THAT(Stored(source), IsEmpty());
}

#ifndef VEXATHUMB_SANITIZED  // which takes memory for itself
// By a limit that the picture meets, which is told as that of a tool.
TEST_F(RenderingTest, TellsWhichLimitWasMet) {
  const std::string source = Picture("a.png");
  kit::WritePng(source, {{3000, 3000}});
  SetModificationTime(source, kSourceTime);
  kit::WriteFile(elsewhere_ / "platform.ini", kit::ReadFile(elsewhere_ / "platform.ini") +
                                                  "[tool vexathumb-render]\naddress_space = 16\n");
  const SourceReport report = BuildAll(source);
  EXPECT_EQ(report.state, BuildState::kFailed);
  EXPECT_THAT(report.cause.text, testing::StartsWith("the program vexathumb-render met its limit"));
}
#endif

}  // namespace
}  // namespace vexathumb::service
