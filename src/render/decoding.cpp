#include "render/decoding.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "render/scaling.h"

namespace vexathumb::render {
namespace {

using vips::VError;
using vips::VImage;
using vips::VSource;

VSource Open(int source) {
  lseek(source, 0, SEEK_SET);
  return VSource::new_from_descriptor(source);
}

int NumberIn(const VImage& image, const char* field, int otherwise) {
  return image.get_typeof(field) == G_TYPE_INT ? image.get_int(field) : otherwise;
}

// Whether it carries a profile that fits its pixels.
bool HasProfile(const VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0) return false;
  size_t size = 0;
  const void* const profile = image.get_blob(VIPS_META_ICC_NAME, &size);
  return vips_icc_is_compatible_profile(image.get_image(), profile, size) != 0;
}

const char* TypeOf(const Loader& loader, const VImage& image) {
  if (strcmp(loader.type, "image/heif") != 0 || image.get_typeof("heif-compression") == 0) {
    return loader.type;
  }
  const char* const compression = image.get_string("heif-compression");
  if (strcmp(compression, "av1") == 0) return "image/avif";
  return strcmp(compression, "hevc") == 0 ? "image/heic" : loader.type;
}

// What of the picture's own metadata would have the next operation do something to it once more.
VImage WithoutInstructions(const VImage& picture) {
  VImage copy = picture.copy();
  for (const char* field : {VIPS_META_ICC_NAME, VIPS_META_ORIENTATION, VIPS_META_EXIF_NAME}) {
    copy.remove(field);
  }
  return copy;
}

VImage InEightBits(const VImage& picture) {
  const int colours = picture.bands() - (picture.has_alpha() ? 1 : 0);
  const VipsInterpretation wanted =
      colours < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
  const VImage converted =
      picture.interpretation() == wanted ? picture : picture.colourspace(wanted);
  return converted.format() == VIPS_FORMAT_UCHAR ? converted : converted.cast(VIPS_FORMAT_UCHAR);
}

struct RegionUnref {
  void operator()(VipsRegion* region) const { g_object_unref(region); }
};
using Region = std::unique_ptr<VipsRegion, RegionUnref>;

// The rows, from the top, before the first that the decoder complains of.
uint32_t ReadableRows(int source, const Size& size) {
  constexpr uint32_t kStrip = 16;
  uint32_t row = 0;
  try {
    const VImage image = VImage::new_from_source(Open(source), "",
                                                 VImage::option()
                                                     ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                                     ->set("fail_on", VIPS_FAIL_ON_ERROR));
    const Region region(vips_region_new(image.get_image()));
    for (; row < size.height; row += kStrip) {
      const uint32_t count = std::min(size.height - row, kStrip);
      const VipsRect strip = {0, static_cast<int>(row), image.width(), static_cast<int>(count)};
      if (vips_region_prepare(region.get(), &strip) != 0) break;
    }
  } catch (const VError&) {
    return 0;
  }
  vips_error_clear();
  return std::min(row, size.height);
}

VImage WithGreyBelow(const VImage& picture, int row) {
  constexpr double kGrey = 128;
  std::vector<double> grey(static_cast<size_t>(picture.bands()), kGrey);
  if (picture.has_alpha()) grey.back() = 255;
  return picture.extract_area(0, 0, picture.width(), row)
      .embed(0, 0, picture.width(), picture.height(),
             VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", grey))
      .copy_memory();
}

bool IsRowOfOneColour(const VipsPel* row, size_t size, size_t pixel) {
  return memcmp(row, row + pixel, size - pixel) == 0;
}

// The rows, from the top, without those at the bottom that are of one colour and all the same,
// which is what decoders fill up with that tell no rows apart.
size_t FilledRows(const VImage& picture) {
  const auto pixel = static_cast<size_t>(picture.bands());
  const size_t row = pixel * static_cast<size_t>(picture.width());
  const auto* const first = static_cast<const VipsPel*>(picture.data());
  const auto height = static_cast<size_t>(picture.height());
  const VipsPel* const last = first + (height - 1) * row;
  if (!IsRowOfOneColour(last, row, pixel)) return height;
  size_t rows = height - 1;
  while (rows > 0 && memcmp(first + (rows - 1) * row, last, row) == 0) --rows;
  return rows;
}

// By how much a decoder that scales by 2, 4 and 8 as it goes may do so before the better scaling
// that follows. libvips itself leaves that a factor of two; with a little less photographs of 12
// megapixels take a third less time, and as many bytes at the same likeness.
int ScaleOfDecoder(const Header& header, const Size& size) {
  constexpr double kLeft = 1.5;
  constexpr int kMost = 8;
  const double wanted = std::min(static_cast<double>(header.stored.width) / size.width,
                                 static_cast<double>(header.stored.height) / size.height);
  int scale = 1;
  while (scale < kMost && wanted >= 2 * scale * kLeft) scale *= 2;
  return scale;
}

// By a decoder that scales by two, larger than the size.
VImage OpenScaled(int source, const Header& header, const Size& size, VipsFailOn completeness) {
  return VImage::new_from_source(Open(source), "",
                                 VImage::option()
                                     ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                     ->set("fail_on", completeness)
                                     ->set("shrink", ScaleOfDecoder(header, size)));
}

VImage DecodeAs(int source, const Header& header, const Size& size, VipsFailOn completeness) {
  const auto width = static_cast<int>(size.width);
  const auto options = [&] {
    auto* const made = ToExactly(size);
    // Without a profile of its own a picture's colours are sRGB, which this would move a little.
    if (header.has_profile) made->set("export_profile", "srgb");
    return made;
  };
  VImage scaled;
  if (header.loader->scales_by_two) {
    const VImage decoded = OpenScaled(source, header, size, completeness);
    scaled = decoded.thumbnail_image(width, options());
  } else {
    // That what is missing is an error has to be said to the loader itself: the operation that
    // scales does not pass it on.
    const char* const text =
        completeness == VIPS_FAIL_ON_NONE ? "[fail_on=none]" : "[fail_on=error]";
    scaled = VImage::thumbnail_source(Open(source), width, options()->set("option_string", text));
  }
  return WithoutInstructions(InEightBits(scaled));
}

}  // namespace

Header ReadHeader(int source) {
  Header header;
  const VSource opened = Open(source);
  header.loader = LoaderFor(opened);
  if (header.loader == nullptr) return header;
  const VImage image =
      VImage::new_from_source(opened, "", VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL));
  header.type = TypeOf(*header.loader, image);
  header.stored = {static_cast<uint32_t>(image.width()), static_cast<uint32_t>(image.height())};
  if (header.loader->has_frames) {
    header.frames = static_cast<uint32_t>(NumberIn(image, VIPS_META_N_PAGES, 1));
  }
  header.has_profile = HasProfile(image);
  header.has_alpha = image.has_alpha();
  const int orientation = NumberIn(image, VIPS_META_ORIENTATION, 1);
  if (orientation >= 1 && orientation <= 8) header.orientation = orientation;
  return header;
}

VImage DecodeInPassing(int source, const Header& header, const Size& size) {
  return DecodeAs(source, header, size, VIPS_FAIL_ON_ERROR);
}

VImage Decode(int source, const Header& header, const Size& size) {
  if (!header.loader->scales_by_two || header.has_profile) {
    return DecodeInPassing(source, header, size).copy_memory();
  }
  const VImage decoded = OpenScaled(source, header, size, VIPS_FAIL_ON_ERROR);
  return WithoutInstructions(InEightBits(Scaled(decoded, size)));
}

std::optional<VImage> DecodeDamaged(int source, const Header& header, const Size& size) {
  const uint32_t rows = ReadableRows(source, header.stored);
  if (rows * 2 >= header.stored.height) {
    const auto kept = static_cast<int>(uint64_t{rows} * size.height / header.stored.height);
    const VImage picture = DecodeAs(source, header, size, VIPS_FAIL_ON_NONE).copy_memory();
    return kept > 0 && kept < picture.height() ? WithGreyBelow(picture, kept) : picture;
  }
  // What comes in several passes, each over all rows, has no row that is whole.
  if (!header.loader->fills_up) return std::nullopt;
  const VImage picture = DecodeAs(source, header, size, VIPS_FAIL_ON_NONE).copy_memory();
  if (FilledRows(picture) * 2 < static_cast<size_t>(picture.height())) return std::nullopt;
  return picture;
}

}  // namespace vexathumb::render
