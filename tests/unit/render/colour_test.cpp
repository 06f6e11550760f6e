#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kit/files.h"
#include "kit/pictures/colour_profile.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

using Colour = std::array<double, 3>;
using Matrix = std::array<Colour, 3>;

constexpr char kVips[] = "/usr/bin/vips";
constexpr Colour kColour = {180, 90, 60};

// Between linear components, both for the same white.
constexpr Matrix kAdobeRgbToSrgb = {{{1.39836, -0.39836, 0}, {0, 1, 0}, {0, -0.04293, 1.04293}}};
constexpr Matrix kDisplayP3ToSrgb = {
    {{1.22494, -0.22494, 0}, {-0.04206, 1.04206, 0}, {-0.01964, -0.07864, 1.09828}}};

double LinearOfSrgb(double value) {
  return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double SrgbOfLinear(double value) {
  return value <= 0.0031308 ? value * 12.92 : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
}

// The sRGB colour, 0 to 255, of one whose linear components these are elsewhere.
Colour ToSrgb(const Matrix& matrix, const Colour& linear) {
  Colour result = {};
  for (size_t row = 0; row < 3; ++row) {
    double sum = 0;
    for (size_t column = 0; column < 3; ++column) sum += matrix[row][column] * linear[column];
    result[row] = 255 * SrgbOfLinear(sum);
  }
  return result;
}

class ColourTest : public RenderTest {
 protected:
  void SetUp() override {
    kit::RunTool({"/usr/bin/convert", "-size", "64x48", "xc:rgb(180,90,60)", "-strip",
                  "PNG24:" + dir_ / "flat.png"});
  }

  // The picture is of this colour all over, within a little.
  void Expect(const std::string& source, const Colour& colour, double tolerance) {
    const Answer answer = Run(source, JobOf(Fitting(32)));
    ASSERT_EQ(answer.ending, Ending::kDone) << answer.detail;
    const kit::Raster raster = kit::ReadRaster(Picture());
    for (int channel = 0; channel < 3; ++channel) {
      EXPECT_NEAR(raster.At(16, 12, channel), colour[static_cast<size_t>(channel)], tolerance)
          << channel;
      EXPECT_NEAR(raster.At(31, 0, channel), colour[static_cast<size_t>(channel)], tolerance)
          << channel;
    }
  }

  void Vips(const std::string& operation, const std::string& from, const std::string& to,
            const std::vector<std::string>& rest = {}) {
    std::vector<std::string> command = {kVips, operation, dir_ / from, dir_ / to};
    command.insert(command.end(), rest.begin(), rest.end());
    kit::RunTool(command);
  }
};

TEST_F(ColourTest, OfAPictureWithoutProfileStays) { Expect("flat.png", kColour, 1); }

TEST_F(ColourTest, OfDisplayP3BecomesSrgb) {
  Colour linear = {};
  for (size_t i = 0; i < 3; ++i) linear[i] = LinearOfSrgb(kColour[i] / 255);
  Vips("copy", "flat.png", "p3.tif[profile=p3]");
  Expect("p3.tif", ToSrgb(kDisplayP3ToSrgb, linear), 3);
}

TEST_F(ColourTest, OfAdobeRgbBecomesSrgb) {
  Colour linear = {};
  for (size_t i = 0; i < 3; ++i) linear[i] = std::pow(kColour[i] / 255, 563.0 / 256);
  kit::WriteFile(dir_ / "adobe.icc", kit::AdobeRgbProfile());
  Vips("copy", "flat.png", "adobe.jpg[Q=100,profile=" + dir_ / "adobe.icc]");
  Expect("adobe.jpg", ToSrgb(kAdobeRgbToSrgb, linear), 3);
}

TEST_F(ColourTest, OfCmykBecomesSrgb) {
  Vips("icc_transform", "flat.png", "cmyk.jpg[Q=100]", {"cmyk", "--input-profile", "srgb"});
  Expect("cmyk.jpg", kColour, 8);
}

TEST_F(ColourTest, OfCmykWithoutProfileBecomesSrgb) {
  Vips("icc_transform", "flat.png", "cmyk.tif[strip]", {"cmyk", "--input-profile", "srgb"});
  Expect("cmyk.tif", kColour, 8);
}

TEST_F(ColourTest, OfLabBecomesSrgb) {
  Vips("colourspace", "flat.png", "lab.tif", {"lab"});
  Expect("lab.tif", kColour, 3);
}

TEST_F(ColourTest, OfSixteenBitsBecomesEight) {
  kit::RunTool({"/usr/bin/convert", dir_ / "flat.png", "-depth", "16", "PNG48:" + dir_ / "deep"});
  Expect("deep", kColour, 1);
  EXPECT_EQ(kit::ReadFile(Picture())[24], 8);  // bits of a sample
}

TEST_F(ColourTest, OfGreyStaysGrey) {
  kit::RunTool({"/usr/bin/convert", "-size", "64x48", "xc:gray(100)", "-colorspace", "Gray",
                "PNG:" + dir_ / "grey"});
  Expect("grey", {100, 100, 100}, 1);
}

TEST_F(ColourTest, OfSixteenBitGreyStaysGrey) {
  kit::RunTool({"/usr/bin/convert", "-size", "64x48", "xc:gray(100)", "-colorspace", "Gray",
                "-depth", "16", "-define", "png:bit-depth=16", "PNG:" + dir_ / "grey"});
  Expect("grey", {100, 100, 100}, 1);
}

TEST_F(ColourTest, OfABrokenProfileIsTakenForSrgb) {
  kit::WriteFile(dir_ / "broken.icc", kit::AdobeRgbProfile().substr(0, 140));
  kit::RunTool({"/usr/bin/convert", dir_ / "flat.png", "-quality", "100", "-profile",
                "ICM:" + dir_ / "broken.icc", "JPEG:" + dir_ / "broken.jpg"});
  Expect("broken.jpg", kColour, 3);
}

}  // namespace
}  // namespace vexathumb::render
