#include "render/picture_sizes.h"

#include <algorithm>
#include <cmath>

namespace vexathumb::render {
namespace {

uint32_t Scaled(uint32_t side, double scale) {
  return std::max<uint32_t>(1, static_cast<uint32_t>(std::lround(side * scale)));
}

}  // namespace

PictureSizes SizesFor(const Size& source, const PictureRecord& picture) {
  const double across = static_cast<double>(picture.width) / source.width;
  const double down = static_cast<double>(picture.height) / source.height;
  const double wanted = picture.fill != 0 ? std::max(across, down) : std::min(across, down);
  const double scale = std::min(wanted, 1.0);
  const Size whole = {Scaled(source.width, scale), Scaled(source.height, scale)};
  return {whole, {std::min(whole.width, picture.width), std::min(whole.height, picture.height)}};
}

}  // namespace vexathumb::render
