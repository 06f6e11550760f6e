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
};

// Decodes nothing. Throws vips::VError.
Header ReadHeader(int source);

// Whether what is missing of a source is an error.
enum class Completeness { kWhole, kAnything };

// The source in exactly this size, stored way up, in memory: sRGB or grey, eight bits, perhaps with
// alpha. Throws vips::VError.
vips::VImage Decode(int source, const Size& size, Completeness completeness);

// Whether at least half of its rows, the upper ones, are more than what decoders fill up with: rows
// of one colour, all the same.
bool HasHalfOfItsRows(const vips::VImage& picture);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_DECODING_H_
