#ifndef VEXATHUMB_SERVICE_PICTURE_DISPLAYED_PIXELS_H_
#define VEXATHUMB_SERVICE_PICTURE_DISPLAYED_PIXELS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace vexathumb::service {

struct Pixels {
  uint32_t width;
  uint32_t height;
};

// The size of the upright picture at `path`; nothing where it is not known. Throws nothing.
std::optional<Pixels> DisplayedPixels(const std::string& path);

// The same of a file in an open folder, and of no other: a link is not followed.
std::optional<Pixels> DisplayedPixelsIn(int folder, const std::string& name);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_DISPLAYED_PIXELS_H_
