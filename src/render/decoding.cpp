#include "render/decoding.h"

#include <unistd.h>

#include <cstring>

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

bool IsRowOfOneColour(const VipsPel* row, size_t size, size_t pixel) {
  return memcmp(row, row + pixel, size - pixel) == 0;
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
  header.frames = static_cast<uint32_t>(NumberIn(image, VIPS_META_N_PAGES, 1));
  header.has_alpha = image.has_alpha();
  const int orientation = NumberIn(image, VIPS_META_ORIENTATION, 1);
  if (orientation >= 1 && orientation <= 8) header.orientation = orientation;
  return header;
}

VImage Decode(int source, const Size& size, Completeness completeness) {
  const VipsFailOn fail_on =
      completeness == Completeness::kWhole ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_NONE;
  const VImage scaled = VImage::thumbnail_source(Open(source), static_cast<int>(size.width),
                                                 VImage::option()
                                                     ->set("height", static_cast<int>(size.height))
                                                     ->set("size", VIPS_SIZE_FORCE)
                                                     ->set("no_rotate", true)
                                                     ->set("export_profile", "srgb")
                                                     ->set("fail_on", fail_on));
  return WithoutInstructions(InEightBits(scaled)).copy_memory();
}

bool HasHalfOfItsRows(const VImage& picture) {
  const size_t pixel = static_cast<size_t>(picture.bands());
  const size_t row = pixel * static_cast<size_t>(picture.width());
  const auto* const first = static_cast<const VipsPel*>(picture.data());
  const auto height = static_cast<size_t>(picture.height());
  const VipsPel* const last = first + (height - 1) * row;
  if (!IsRowOfOneColour(last, row, pixel)) return true;
  size_t rows = height - 1;
  while (rows > 0 && memcmp(first + (rows - 1) * row, last, row) == 0) --rows;
  return rows * 2 >= height;
}

}  // namespace vexathumb::render
