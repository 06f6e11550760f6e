#include "kit/pictures/fixtures.h"

#include <algorithm>
#include <sstream>
#include <string>

#include "kit/files.h"
#include "kit/pictures/heif_orientation.h"
#include "kit/pictures/picture_drawing.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"

namespace vexathumb::kit {
namespace {

using Arguments = std::vector<std::string>;

constexpr char kOrientationKey[] = "Exif.Image.Orientation";

ExifValue OrientationValue(int orientation) {
  return {kOrientationKey, std::to_string(orientation), Exiv2::invalidTypeId};
}

void AddExifTo(Exiv2::ExifData& exif, const ExifValue& value) {
  if (value.type == Exiv2::invalidTypeId) {
    exif[value.key] = value.text;
    return;
  }
  const auto typed = Exiv2::Value::create(value.type);
  typed->read(value.text);
  exif.add(Exiv2::ExifKey(value.key), typed.get());
}

std::string Base64(const std::string& bytes) {
  std::string text(bytes.size() * 4 / 3 + 8, '\0');
  Exiv2::base64encode(bytes.data(), bytes.size(), text.data(), text.size());
  text.resize(text.find('\0'));
  return text;
}

std::string PreviewJpeg(const Size& size, int orientation) {
  const TempDir dir;
  Draw("jpeg:" + dir / "preview", size, orientation, kPreviewPalette);
  return ReadFile(dir / "preview");
}

void SetXmpPreview(Exiv2::XmpData& xmp, const Size& size, const std::string& jpeg) {
  const std::string preview = "Xmp.xmp.Thumbnails[1]/xmpGImg:";
  Exiv2::XmpTextValue array;
  array.setXmpArrayType(Exiv2::XmpValue::xaAlt);
  xmp.add(Exiv2::XmpKey("Xmp.xmp.Thumbnails"), &array);
  xmp[preview + "width"] = std::to_string(size.width);
  xmp[preview + "height"] = std::to_string(size.height);
  xmp[preview + "format"] = "JPEG";
  xmp[preview + "image"] = Base64(jpeg);
}

void DrawWithOrientation(const std::string& format, const std::string& path,
                         const PictureOptions& options) {
  Draw(format + ":" + path, options.size, options.orientation, kPicturePalette);
  if (options.orientation != 0) AddExif(path, {OrientationValue(options.orientation)});
  Age(path);
}

// The encoder copies the EXIF data of a JPEG.
void EncodeHeif(const Arguments& codec, const std::string& path, const std::string& jpeg,
                int orientation) {
  Arguments argv = {"/usr/bin/heif-enc", "-q", "90"};
  argv.insert(argv.end(), codec.begin(), codec.end());
  argv.insert(argv.end(), {"-o", path, jpeg});
  RunTool(argv);
  if (orientation > 1) WriteFile(path, WithContainerOrientation(ReadFile(path), orientation));
  Age(path);
}

}  // namespace

Size StoredSize(const Size& upright, int orientation) {
  return orientation < 5 ? upright : Size{upright.height, upright.width};
}

std::string StoredCorners(const std::string& upright_corners, int orientation) {
  // For each orientation, which upright quadrant is stored in each quadrant.
  constexpr size_t kStoredQuadrants[][4] = {
      {0, 1, 2, 3}, {0, 1, 2, 3}, {1, 0, 3, 2}, {3, 2, 1, 0}, {2, 3, 0, 1},
      {0, 2, 1, 3}, {1, 3, 0, 2}, {3, 1, 2, 0}, {2, 0, 3, 1},
  };
  std::istringstream words(upright_corners);
  std::string colours[4];
  for (std::string& colour : colours) words >> colour;
  const size_t* stored = kStoredQuadrants[orientation];
  return colours[stored[0]] + " " + colours[stored[1]] + " " + colours[stored[2]] + " " +
         colours[stored[3]];
}

void WriteJpeg(const std::string& path, const JpegOptions& options) {
  Draw("jpeg:" + path, options.size, options.orientation, kPicturePalette);
  const auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  Exiv2::ExifData& exif = image->exifData();
  if (options.orientation != 0) AddExifTo(exif, OrientationValue(options.orientation));
  for (const ExifValue& value : options.exif) AddExifTo(exif, value);
  if (options.exif_thumbnail) {
    const TempDir dir;
    WriteFile(dir / "thumbnail", PreviewJpeg(*options.exif_thumbnail, options.orientation));
    Exiv2::ExifThumb(exif).setJpegThumbnail(dir / "thumbnail");
  }
  if (options.xmp_preview) {
    SetXmpPreview(image->xmpData(), StoredSize(*options.xmp_preview, options.orientation),
                  PreviewJpeg(*options.xmp_preview, options.orientation));
  }
  image->writeMetadata();
  Age(path);
}

void AddExif(const std::string& path, const std::vector<ExifValue>& values) {
  const auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  for (const ExifValue& value : values) AddExifTo(image->exifData(), value);
  image->writeMetadata();
  Age(path);
}

void AddExifThumbnail(const std::string& path, const std::string& thumbnail) {
  const auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  Exiv2::ExifThumb(image->exifData()).setJpegThumbnail(thumbnail);
  image->writeMetadata();
  Age(path);
}

void WritePng(const std::string& path, const PictureOptions& options) {
  DrawWithOrientation("png", path, options);
}

void WriteTiff(const std::string& path, const PictureOptions& options) {
  DrawWithOrientation("tiff", path, options);
}

void WriteWebp(const std::string& path, const PictureOptions& options) {
  DrawWithOrientation("webp", path, options);
}

void WriteBmp(const std::string& path, const Size& size) {
  Draw("bmp:" + path, size, 0, kPicturePalette);
  Age(path);
}

void WriteGif(const std::string& path, const Size& size) {
  Draw("gif:" + path, size, 0, kPicturePalette);
  Age(path);
}

void WriteTransparentPng(const std::string& path, const Size& size) {
  Draw("png:" + path, size, 0, {"red", "lime", "blue", "none"});
  Age(path);
}

void WriteAnimatedGif(const std::string& path, const Size& size, int frames) {
  const TempDir dir;
  WriteGif(dir / "first", size);
  Arguments argv = {"/usr/bin/convert", "-delay", "20", "-loop", "0", "gif:" + dir / "first"};
  const int side = std::max(1, std::min(size.width, size.height) / 8);
  for (int frame = 1; frame < frames; ++frame) {
    const int left = (size.width - side) * frame / frames;
    argv.insert(argv.end(), {"(", "-size", std::to_string(side) + "x" + std::to_string(side),
                             "xc:black", "-repage",
                             std::to_string(size.width) + "x" + std::to_string(size.height) + "+" +
                                 std::to_string(left) + "+0",
                             ")"});
  }
  argv.push_back("gif:" + path);
  RunTool(argv);
  Age(path);
}

void WriteHeic(const std::string& path, const PictureOptions& options) {
  const TempDir dir;
  WriteJpeg(dir / "picture", {options.size, options.orientation, {}, {}, {}});
  WriteHeicOf(path, dir / "picture", options.orientation);
}

void WriteHeicOf(const std::string& path, const std::string& jpeg, int orientation) {
  EncodeHeif({"-p", "preset=ultrafast"}, path, jpeg, orientation);
}

void WriteAvif(const std::string& path, const PictureOptions& options) {
  const TempDir dir;
  WriteJpeg(dir / "picture", {options.size, options.orientation, {}, {}, {}});
  EncodeHeif({"-A", "-p", "speed=9"}, path, dir / "picture", options.orientation);
}

}  // namespace vexathumb::kit
