#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/ssim.h"
#include "kit/run_tool.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {

bool operator==(const Size& one, const Size& other) {
  return one.width == other.width && one.height == other.height;
}

std::ostream& operator<<(std::ostream& out, const Size& size) {
  return out << size.width << "x" << size.height;
}

namespace {

using testing::ElementsAre;
using testing::ValuesIn;

using Writer = std::function<void(const std::string& path, int orientation)>;

// By libvips' program, which writes what no other tool here does.
void Convert(const std::string& from, const std::string& to) {
  kit::RunTool({"/usr/bin/vips", "copy", from, to});
}

struct TypeCase {
  const char* name;
  const char* type;
  Writer write;
  // What the decoder turns by itself is turned by nothing else.
  bool takes_orientation = true;
  // The decoder does not see what Exiv2 writes and reads, in a text.
  bool hides_orientation = false;

  friend std::ostream& operator<<(std::ostream& out, const TypeCase& each) {
    return out << each.name;
  }
};

const std::vector<TypeCase> kOrientedTypes = {
    {"Jpeg", "image/jpeg",
     [](const auto& path, int orientation) {
       kit::WriteJpeg(path, {{400, 300}, orientation});
     }},
    {"Png", "image/png",
     [](const auto& path, int orientation) {
       kit::WritePng(path, {{400, 300}, orientation});
     },
     true, true},
    {"Tiff", "image/tiff",
     [](const auto& path, int orientation) {
       kit::WriteTiff(path, {{400, 300}, orientation});
     }},
    {"Webp", "image/webp",
     [](const auto& path, int orientation) {
       kit::WriteWebp(path, {{400, 300}, orientation});
     }},
    {"Heic", "image/heic",
     [](const auto& path, int orientation) {
       kit::WriteHeic(path, {{400, 300}, orientation});
     },
     false},
    {"Avif", "image/avif",
     [](const auto& path, int orientation) {
       kit::WriteAvif(path, {{400, 300}, orientation});
     },
     false},
};

class TypeTest : public RenderTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(TypeTest, IsUprightInEachOrientation) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    GetParam().write(dir_ / "source", orientation);
    Job job = JobOf(Fitting(120));
    if (GetParam().hides_orientation) job.orientation = orientation;
    const Answer answer = Run("source", job);
    EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
    EXPECT_EQ(answer.type, GetParam().type);
    EXPECT_EQ(answer.width, 400U);
    EXPECT_EQ(answer.height, 300U);
    EXPECT_THAT(answer.pictures, ElementsAre(Size{120, 90}));
    EXPECT_EQ(kit::Corners(Picture()), kit::kPictureCorners);
  }
}

TEST_P(TypeTest, IsTurnedByTheOrientationOfTheJobInstead) {
  GetParam().write(dir_ / "source", 6);
  Job job = JobOf(Fitting(120));
  job.orientation = 1;
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  if (GetParam().takes_orientation) {
    EXPECT_THAT(answer.pictures, ElementsAre(Size{90, 120}));
    EXPECT_EQ(kit::Corners(Picture()), kit::StoredCorners(kit::kPictureCorners, 6));
  } else {
    EXPECT_THAT(answer.pictures, ElementsAre(Size{120, 90}));
    EXPECT_EQ(kit::Corners(Picture()), kit::kPictureCorners);
  }
}

TEST_P(TypeTest, IsTurnedByQuarterTurnsOnTop) {
  GetParam().write(dir_ / "source", 3);
  Job job = JobOf(Fitting(120));
  if (GetParam().hides_orientation) job.orientation = 3;
  job.turns = 1;
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.width, 400U);
  EXPECT_THAT(answer.pictures, ElementsAre(Size{90, 120}));
  EXPECT_EQ(kit::Corners(Picture()), "blue red yellow green");
}

INSTANTIATE_TEST_SUITE_P(Oriented, TypeTest, ValuesIn(kOrientedTypes), kit::CaseName());

const std::vector<TypeCase> kPlainTypes = {
    {"Gif", "image/gif", [](const auto& path, int) { kit::WriteGif(path); }},
    {"JpegXl", "image/jxl",
     [](const auto& path, int) {
       kit::WritePng(path + ".png");
       Convert(path + ".png", path + ".jxl");
       rename((path + ".jxl").c_str(), path.c_str());
     }},
    {"Jpeg2000", "image/jp2",
     [](const auto& path, int) {
       kit::WritePng(path + ".png");
       Convert(path + ".png", path + ".jp2");
       rename((path + ".jp2").c_str(), path.c_str());
     }},
    {"BigTiff", "image/tiff",
     [](const auto& path, int) {
       kit::WritePng(path + ".png");
       Convert(path + ".png", path + ".tif[bigtiff,tile]");
       rename((path + ".tif").c_str(), path.c_str());
     }},
};

class PlainTypeTest : public RenderTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(PlainTypeTest, IsRendered) {
  GetParam().write(dir_ / "source", 1);
  const Answer answer = Run("source", JobOf(Fitting(120)));
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_EQ(answer.type, GetParam().type);
  EXPECT_EQ(answer.frames, 1U);
  EXPECT_THAT(answer.pictures, ElementsAre(Size{120, 90}));
  EXPECT_EQ(kit::Corners(Picture()), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(Plain, PlainTypeTest, ValuesIn(kPlainTypes), kit::CaseName());

struct BoxCase {
  const char* name;
  kit::Size source;
  int turns;
  uint32_t width, height;
  bool fill;
  Size picture;
};

class BoxTest : public RenderTest, public testing::WithParamInterface<BoxCase> {};

TEST_P(BoxTest, GivesExactlyItsPixels) {
  const BoxCase& box = GetParam();
  kit::WriteJpeg(dir_ / "source", {box.source, 6});
  Job job;
  job.turns = box.turns;
  job.pictures.push_back({box.width, box.height, box.fill, Coding::kJpeg, 85, -1});
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_THAT(answer.pictures, ElementsAre(box.picture));
  const kit::PictureInfo made = kit::Examine(Picture());
  EXPECT_EQ(made.format, "JPEG");
  EXPECT_EQ((Size{static_cast<uint32_t>(made.width), static_cast<uint32_t>(made.height)}),
            box.picture);
}

INSTANTIATE_TEST_SUITE_P(Boxes, BoxTest,
                         ValuesIn(std::vector<BoxCase>{
                             {"Fitting", {400, 300}, 0, 200, 200, false, {200, 150}},
                             {"FittingATurned", {400, 300}, 1, 200, 200, false, {150, 200}},
                             {"FittingByHeight", {400, 300}, 0, 400, 30, false, {40, 30}},
                             {"RoundedToTheNearest", {401, 299}, 0, 100, 100, false, {100, 75}},
                             {"OfOnePixel", {400, 300}, 0, 1, 1, false, {1, 1}},
                             {"OfANarrowSource", {400, 2}, 0, 40, 40, false, {40, 1}},
                             {"NeverEnlarged", {40, 30}, 0, 200, 200, false, {40, 30}},
                             {"Filled", {400, 300}, 0, 100, 100, true, {100, 100}},
                             {"FilledByATurned", {400, 300}, 3, 50, 120, true, {50, 120}},
                             {"FilledAcross", {400, 300}, 0, 200, 20, true, {200, 20}},
                             {"FilledAndNeverEnlarged", {400, 30}, 0, 100, 100, true, {100, 30}},
                             {"FilledByASmallerSource", {40, 30}, 0, 100, 100, true, {40, 30}},
                         }),
                         kit::CaseName());

using PictureTest = RenderTest;

TEST_F(PictureTest, AreMadeInOneJobInAnyOrder) {
  kit::WriteJpeg(dir_ / "source", {{800, 600}, 6});
  Job job;
  job.pictures = {Fitting(90), Fitting(640), Fitting(90), Fitting(300), Fitting(640)};
  job.pictures[2].fill = true;
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_THAT(answer.pictures, ElementsAre(Size{90, 68}, Size{640, 480}, Size{90, 90},
                                           Size{300, 225}, Size{640, 480}));
  for (size_t i = 0; i < job.pictures.size(); ++i) {
    EXPECT_EQ(kit::Corners(Picture(i)), kit::kPictureCorners) << i;
  }
}

// Whatever the decoder scales already, and however the rest is done.
TEST_F(PictureTest, LookAsIfScaledFromAllPixels) {
  const kit::Scene scene = {7, {60, 110, 190}, {200, 210, 220}, {40, 60, 40}, 0.7F, 0.2F};
  kit::PaintLandscape(dir_ / "colours.ppm", {2016, 1512}, scene);
  kit::RunTool({"/usr/bin/vips", "colourspace", dir_ / "colours.ppm", dir_ / "grey.ppm", "b-w"});
  for (const char* painted : {"colours.ppm", "grey.ppm"}) {
    SCOPED_TRACE(painted);
    kit::RunTool({"/usr/bin/vips", "jpegsave", dir_ / painted, dir_ / "source", "--Q", "98"});
    Job job;
    job.pictures = {Fitting(1000), Fitting(640), Fitting(360), Fitting(120)};
    EXPECT_EQ(Run("source", job).ending, Ending::kDone);
    for (size_t i = 0; i < job.pictures.size(); ++i) {
      const std::string side = std::to_string(job.pictures[i].width);
      const std::string reference = dir_ / ("reference" + side + ".png");
      kit::RunTool({"/usr/bin/vips", "thumbnail", dir_ / painted, reference, side});
      EXPECT_GE(kit::Ssim(Picture(i), reference), 0.99) << side;
    }
  }
}

TEST_F(PictureTest, CutsTheMiddleOutToFill) {
  kit::RunTool({"/usr/bin/convert", "-size", "100x100", "xc:red", "xc:lime", "xc:blue", "+append",
                "PNG:" + dir_ / "source"});
  Job job = JobOf(Fitting(50));
  job.pictures[0].fill = true;
  Run("source", job);
  EXPECT_EQ(kit::Corners(Picture()), "green green green green");
}

TEST_F(PictureTest, KeepsTransparencyInPng) {
  kit::WriteTransparentPng(dir_ / "source");
  const Answer answer = Run("source", JobOf(Fitting(120)));
  EXPECT_TRUE(answer.has_alpha);
  EXPECT_EQ(kit::Corners(Picture()), "red green blue transparent");
}

TEST_F(PictureTest, ShowsWhiteForTransparencyInJpeg) {
  kit::WriteTransparentPng(dir_ / "source");
  Run("source", JobOf(Fitting(120, Coding::kJpeg)));
  EXPECT_EQ(kit::Corners(Picture()), "red green blue white");
}

TEST_F(PictureTest, CarriesNoMetadata) {
  kit::WriteJpeg(dir_ / "source",
                 {{400, 300}, 6, kit::Size{160, 120}, {}, {{"Exif.Image.Make", "Canon"}}});
  Run("source", JobOf(Fitting(120, Coding::kJpeg)));
  const std::string made = kit::ReadFile(Picture());
  EXPECT_EQ(made.find("Exif"), std::string::npos);
  EXPECT_EQ(made.find("Canon"), std::string::npos);
}

TEST_F(PictureTest, WeighsMoreInABetterQuality) {
  kit::WriteJpeg(dir_ / "source", {{400, 300}});
  Job job;
  job.pictures = {Fitting(300, Coding::kJpeg), Fitting(300, Coding::kJpeg)};
  job.pictures[0].quality = 30;
  job.pictures[1].quality = 95;
  Run("source", job);
  EXPECT_LT(kit::ReadFile(Picture(0)).size(), kit::ReadFile(Picture(1)).size());
}

TEST_F(PictureTest, IsOfTheFirstFrameOfAnAnimation) {
  kit::WriteAnimatedGif(dir_ / "source");
  const Answer answer = Run("source", JobOf(Fitting(120)));
  EXPECT_EQ(answer.frames, 3U);
  EXPECT_EQ(kit::Corners(Picture()), kit::kPictureCorners);
}

TEST_F(PictureTest, ReadsItsSourceFromTheBeginning) {
  kit::WriteJpeg(dir_ / "source");
  const posix::UniqueFd source(open((dir_ / "source").c_str(), O_RDONLY | O_CLOEXEC));
  lseek(source.get(), 0, SEEK_END);
  Job job;
  job.source = source.get();
  EXPECT_EQ(SharedRenderer().Run(job).ending, Ending::kDone);
}

using FactsTest = RenderTest;

TEST_F(FactsTest, AreToldOfAHeaderAlone) {
  kit::WritePng(dir_ / "whole", {{400, 300}, 8});
  const std::string bytes = kit::ReadFile(dir_ / "whole");
  kit::WriteFile(dir_ / "source", bytes.substr(0, bytes.find("IDAT") + 8));
  const Answer answer = Run("source", {});
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_EQ(answer.type, "image/png");
  EXPECT_EQ(answer.frames, 1U);
  EXPECT_FALSE(answer.has_alpha);
  EXPECT_FALSE(answer.is_damaged);
  EXPECT_TRUE(answer.pictures.empty());
}

struct RefusedCase {
  const char* name;
  Writer write;
};

Writer Content(const std::string& bytes) {
  return [bytes](const std::string& path, int) { kit::WriteFile(path, bytes); };
}

class RefusedTest : public RenderTest, public testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedTest, IsOfNoTypeThatIsRendered) {
  GetParam().write(dir_ / "source", 0);
  const Answer answer = Run("source", JobOf(Fitting(120)));
  EXPECT_EQ(answer.ending, Ending::kRefused) << answer.detail;
  EXPECT_EQ(answer.type, "");
  EXPECT_EQ(kit::ReadFile(Picture()), "");
}

INSTANTIATE_TEST_SUITE_P(
    Contents, RefusedTest,
    ValuesIn(std::vector<RefusedCase>{
        {"Empty", Content("")},
        {"Text", Content("A picture of a lake.\n")},
        {"Svg", Content("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>")},
        {"Pdf", Content("%PDF-1.4\n1 0 obj<<>>endobj\ntrailer<<>>\n")},
        {"Pnm", Content("P6 1 1 255\nabc")},
        {"Radiance", Content("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\nabcd")},
        {"Psd", Content(std::string("8BPS\0\1\0\0\0\0\0\0\0\3\0\0\0\1\0\0\0\1\0\10\0\3", 26))},
        {"Bmp", [](const std::string& path, int) { kit::WriteBmp(path); }},
        {"Quicktime", Content(kit::QuickTimeContent())},
        {"Eps", Content(kit::EpsContent())},
    }),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::render
