#ifndef VEXATHUMB_RENDER_DECODING_H_
#define VEXATHUMB_RENDER_DECODING_H_

#include <optional>
#include <vips/vips8>

#include "render/loaders.h"
#include "render/order.h"

namespace vexathumb::render {

// What is said of a source in its header.
struct Header {
  const Loader* loader = nullptr;  // null: it is of no type that is rendered
  const char* type = "";
  Size stored;
  int orientation = 1;  // EXIF's, that what the loader gives has still to be turned by
  uint32_t frames = 1;
  bool has_alpha = false;
  bool has_profile = false;  // of colours, one that can be used
};

// Decodes nothing. Throws vips::VError.
Header ReadHeader(int source);

// The source in exactly this size, stored way up, in memory: sRGB or grey, eight bits, perhaps with
// alpha. Throws vips::VError, also where something of the source is missing.
vips::VImage Decode(int source, const Header& header, const Size& size);

// The same, decoded when its pixels are asked for, once and from the top: then it is that asking
// which throws.
vips::VImage DecodeInPassing(int source, const Header& header, const Size& size);

// What there is of a source that is not whole, like Decode() gives it, with grey in place of the
// rest; none where that is less than half of its rows. Throws vips::VError.
std::optional<vips::VImage> DecodeDamaged(int source, const Header& header, const Size& size);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_DECODING_H_
