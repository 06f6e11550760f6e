#ifndef VEXATHUMB_RENDER_SCALING_H_
#define VEXATHUMB_RENDER_SCALING_H_

#include <vips/vips8>

#include "render/order.h"

namespace vexathumb::render {

// What has libvips' thumbnail operations, which are told the width apart, scale to exactly this
// size and turn nothing. For one call, which frees it.
vips::VOption* ToExactly(const Size& size);

// The picture in exactly this size, in memory. What is larger than that in one direction is not
// smaller in the other. Throws vips::VError.
vips::VImage Scaled(const vips::VImage& picture, const Size& size);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_SCALING_H_
