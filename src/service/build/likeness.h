#ifndef VEXATHUMB_SERVICE_BUILD_LIKENESS_H_
#define VEXATHUMB_SERVICE_BUILD_LIKENESS_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "thumb/thumb_info.h"

namespace vexathumb::service {

// A picture as a raster of 16 by 16 pixels of red, green and blue, from the upper left.
using Likeness = std::array<uint8_t, size_t{16} * 16 * 3>;

// Decodes a picture whole, by a tool under the limits of all tools; turned and mirrored as the
// description says, where there is one. Nothing when it cannot be decoded. An animation counts by
// its first frame.
std::optional<Likeness> DecodeLikeness(const std::string& path, const ThumbInfo* info = nullptr);

// Whether two may show the same, whatever scaling, compression and colour profiles have done.
bool IsAlike(const Likeness& one, const Likeness& other);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_LIKENESS_H_
