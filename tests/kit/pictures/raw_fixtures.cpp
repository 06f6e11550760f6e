#include <array>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/picture_drawing.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/tiff_builder.h"
#include "kit/temp_dir.h"

namespace vexathumb::kit {
namespace {

enum Tag : uint16_t {
  kNewSubfileType = 254,
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kMake = 271,
  kModel = 272,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kPlanarConfiguration = 284,
  kJpegOffset = 513,
  kJpegLength = 514,
  kCfaRepeatPatternDim = 33421,
  kCfaPattern = 33422,
  kDngVersion = 50706,
  kUniqueCameraModel = 50708,
  kWhiteLevel = 50717,
  kColorMatrix1 = 50721,
  kAsShotNeutral = 50728,
  kCalibrationIlluminant1 = 50778,
};

constexpr uint16_t kUncompressed = 1;
constexpr uint16_t kOldJpeg = 6;
constexpr uint16_t kJpeg = 7;
constexpr uint16_t kRgb = 2;
constexpr uint16_t kYCbCr = 6;
constexpr uint16_t kCfa = 32803;
constexpr uint32_t kReducedResolution = 1;

// The sensor sees one colour at each place: red and green in even rows, green and blue in odd ones.
std::string Mosaic(const Raster& raster) {
  constexpr std::array<std::array<int, 2>, 2> kChannel = {{{0, 1}, {1, 2}}};
  std::string samples;
  samples.reserve(raster.rgba.size() / 2);
  for (int y = 0; y < raster.height; ++y) {
    for (int x = 0; x < raster.width; ++x) {
      const auto channel = kChannel[static_cast<size_t>(y % 2)][static_cast<size_t>(x % 2)];
      const uint8_t value = raster.At(x, y, channel);
      // Squaring undoes, nearly enough, the gamma of the picture: sensors are linear.
      const unsigned linear = value * value;
      samples += static_cast<char>(linear & 0xFF);
      samples += static_cast<char>(linear >> 8);
    }
  }
  return samples;
}

std::string RgbPixels(const Raster& raster) {
  std::string pixels;
  for (int y = 0; y < raster.height; ++y) {
    for (int x = 0; x < raster.width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        pixels += static_cast<char>(raster.At(x, y, channel));
      }
    }
  }
  return pixels;
}

TiffDirectory SizedDirectory(uint32_t subfile_type, const Raster& raster) {
  TiffDirectory directory;
  directory.Longs(kNewSubfileType, {subfile_type})
      .Longs(kImageWidth, {static_cast<uint32_t>(raster.width)})
      .Longs(kImageLength, {static_cast<uint32_t>(raster.height)});
  return directory;
}

TiffDirectory Sensor(const Raster& raster) {
  // From XYZ to a camera whose colours are those of sRGB.
  const std::vector<int32_t> kXyzToSrgb = {32405, -15371, -4985, -9693, 18760,
                                           416,   556,    -2040, 10572};
  return SizedDirectory(0, raster)
      .Shorts(kBitsPerSample, {16})
      .Shorts(kCompression, {kUncompressed})
      .Shorts(kPhotometric, {kCfa})
      .Text(kMake, "Kit")
      .Text(kModel, "Quadrants")
      .Shorts(kOrientation, {1})
      .Shorts(kSamplesPerPixel, {1})
      .Longs(kRowsPerStrip, {static_cast<uint32_t>(raster.height)})
      .Shorts(kPlanarConfiguration, {1})
      .Shorts(kCfaRepeatPatternDim, {2, 2})
      .Bytes(kCfaPattern, std::string("\0\1\1\2", 4))
      .Bytes(kDngVersion, std::string("\1\4\0\0", 4))
      .Text(kUniqueCameraModel, "Kit Quadrants")
      .Longs(kWhiteLevel, {65025})
      .Rationals(kColorMatrix1, kXyzToSrgb, 10000)
      .Rationals(kAsShotNeutral, {1, 1, 1}, 1)
      .Shorts(kCalibrationIlluminant1, {21})
      .Data(kStripOffsets, kStripByteCounts, Mosaic(raster));
}

TiffDirectory Preview(uint16_t compression, uint16_t photometric, const Raster& raster) {
  return SizedDirectory(kReducedResolution, raster)
      .Shorts(kBitsPerSample, {8, 8, 8})
      .Shorts(kCompression, {compression})
      .Shorts(kPhotometric, {photometric})
      .Shorts(kSamplesPerPixel, {3})
      .Longs(kRowsPerStrip, {static_cast<uint32_t>(raster.height)})
      .Shorts(kPlanarConfiguration, {1});
}

TiffDirectory JpegPreview(const std::string& jpeg) {
  return Preview(kOldJpeg, kYCbCr, ReadRaster(jpeg)).Data(kJpegOffset, kJpegLength, ReadFile(jpeg));
}

TiffDirectory JpegStripPreview(const std::string& jpeg) {
  return Preview(kJpeg, kYCbCr, ReadRaster(jpeg))
      .Data(kStripOffsets, kStripByteCounts, ReadFile(jpeg));
}

TiffDirectory PixelPreview(const std::string& picture) {
  const Raster raster = ReadRaster(picture);
  return Preview(kUncompressed, kRgb, raster)
      .Data(kStripOffsets, kStripByteCounts, RgbPixels(raster));
}

}  // namespace

void WriteDng(const std::string& path, const DngOptions& options) {
  const TempDir dir;
  const std::string sensor = dir / "sensor";
  const std::string preview = dir / "preview";
  Draw("png:" + sensor, options.size, 0, kPicturePalette);
  Draw("jpeg:" + preview, options.preview_size, 0, kPreviewPalette);
  std::vector<TiffDirectory> previews;
  if (options.preview == RawPreview::kJpeg) previews = {JpegPreview(preview)};
  if (options.preview == RawPreview::kJpegStrip) previews = {JpegStripPreview(preview)};
  if (options.preview == RawPreview::kPixels) previews = {PixelPreview(preview)};
  WriteFile(path, BuildTiff(Sensor(ReadRaster(sensor)), previews));
  Age(path);
}

void WriteDngOf(const std::string& path, const std::string& sensor, const std::string& preview) {
  WriteFile(path, BuildTiff(Sensor(ReadRaster(sensor)), {JpegPreview(preview)}));
  Age(path);
}

void WriteCr2(const std::string& path, const Size& jpeg_preview, const Size& tiff_preview) {
  const TempDir dir;
  Draw("jpeg:" + dir / "jpeg", jpeg_preview, 0, kPreviewPalette);
  Draw("png:" + dir / "tiff", tiff_preview, 0, kPreviewPalette);
  TiffDirectory main = SizedDirectory(0, ReadRaster(dir / "jpeg"));
  main.Text(kMake, "Canon").Text(kModel, "Quadrants").Shorts(kOrientation, {1});
  const std::string signature("CR\2\0\0\0\0\0", 8);
  WriteFile(path,
            BuildTiff(main, {JpegPreview(dir / "jpeg"), PixelPreview(dir / "tiff")}, signature));
  Age(path);
}

}  // namespace vexathumb::kit
