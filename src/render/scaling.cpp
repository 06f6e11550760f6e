#include "render/scaling.h"

namespace vexathumb::render {
namespace {

using vips::VImage;

// Before 8.16, libvips scales columns with vector instructions, and rows without.
bool ScalesRowsSlowly() { return vips_version(0) == 8 && vips_version(1) < 16; }

// Whether its samples can be mixed as they are.
bool IsPlain(const VImage& picture) {
  return picture.format() == VIPS_FORMAT_UCHAR && !picture.has_alpha() &&
         (picture.interpretation() == VIPS_INTERPRETATION_sRGB ||
          picture.interpretation() == VIPS_INTERPRETATION_B_W);
}

VImage WithScaledColumns(const VImage& picture, int height) {
  constexpr double kGap = 2;  // as libvips leaves it when it scales both
  const double factor = static_cast<double>(picture.height()) / height;
  return picture.reducev(factor, VImage::option()->set("gap", kGap)).copy_memory();
}

}  // namespace

vips::VOption* ToExactly(const Size& size) {
  return VImage::option()
      ->set("height", static_cast<int>(size.height))
      ->set("size", VIPS_SIZE_FORCE)
      ->set("no_rotate", true);
}

VImage Scaled(const VImage& picture, const Size& size) {
  const auto width = static_cast<int>(size.width);
  const auto height = static_cast<int>(size.height);
  if (width == picture.width() && height == picture.height()) return picture.copy_memory();
  const bool is_smaller = width <= picture.width() && height <= picture.height();
  if (is_smaller && IsPlain(picture) && ScalesRowsSlowly()) {
    // On its side, a picture's rows are columns: that takes half of the time, turning included.
    const VImage turned = WithScaledColumns(picture, height).rot90().copy_memory();
    return WithScaledColumns(turned, width).rot270().copy_memory();
  }
  return picture.thumbnail_image(width, ToExactly(size)).copy_memory();
}

}  // namespace vexathumb::render
