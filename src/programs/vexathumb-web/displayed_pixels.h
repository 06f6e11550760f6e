#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_DISPLAYED_PIXELS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_DISPLAYED_PIXELS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace vexathumb::web {

struct Pixels {
  uint32_t width;
  uint32_t height;
};

// The size of the upright picture at `path`; nothing where it is not known. Throws nothing.
std::optional<Pixels> DisplayedPixels(const std::string& path);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_DISPLAYED_PIXELS_H_
