#include "render/warm_up.h"

#include <memory>
#include <vips/vips8>

#include "render/loaders.h"

namespace vexathumb::render {
namespace {

using vips::VImage;

struct WarmUpRegionUnref {
  void operator()(VipsRegion* region) const { g_object_unref(region); }
};

// Has the pixels computed by this thread: whatever else asks for pixels starts others.
bool Compute(const VImage& image) {
  const std::unique_ptr<VipsRegion, WarmUpRegionUnref> region(vips_region_new(image.get_image()));
  const VipsRect all = {0, 0, image.width(), image.height()};
  return vips_region_prepare(region.get(), &all) == 0;
}

// Scaling with colour and alpha. What converts profiles compiles nothing.
bool Scale() {
  constexpr int kSide = 64;
  const VImage black = VImage::black(kSide, kSide, VImage::option()->set("bands", 4));
  const VImage picture =
      black.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
  return Compute(
      picture.thumbnail_image(kSide / 5, VImage::option()->set("size", VIPS_SIZE_FORCE)));
}

}  // namespace

bool WarmUp(const char* program) {
  if (vips_init(program) != 0) return false;
  vips_cache_set_max(0);
  AllowLoaders();
  try {
    return Scale();
  } catch (const vips::VError&) {
    return false;
  }
}

}  // namespace vexathumb::render
