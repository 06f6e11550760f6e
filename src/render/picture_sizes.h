#ifndef VEXATHUMB_RENDER_PICTURE_SIZES_H_
#define VEXATHUMB_RENDER_PICTURE_SIZES_H_

#include "render/order.h"

namespace vexathumb::render {

// The other way round.
inline Size Swapped(const Size& size) { return {size.height, size.width}; }

// What becomes of a source of this size, as displayed, for a picture: it is scaled to `whole`, of
// which the middle is cut out that is `cut`. Neither is larger than the source.
struct PictureSizes {
  Size whole;
  Size cut;
};
PictureSizes SizesFor(const Size& source, const PictureRecord& picture);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_PICTURE_SIZES_H_
