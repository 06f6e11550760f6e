#ifndef VEXATHUMB_SERVICE_SERVE_SERVED_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_SERVE_SERVED_THUMBNAIL_H_

#include <cstdint>
#include <optional>
#include <string>

#include "thumb/libvexathumb.h"

namespace vexathumb::service {

// Sides of a free box that our programs accept, in pixels.
constexpr int kMinBoxSide = 1;
constexpr int kMaxBoxSide = 4096;

struct Box {
  int width;
  int height;
};

// What the library itself is asked for, with its own options.
struct LibraryRequest {
  std::string source;      // absolute
  std::string size;        // a size label; without meaning when there is a box
  std::optional<Box> box;  // pixels as displayed
  int turns = 0;           // clockwise quarter turns besides the file's own, 0 to 3
  int options = Thumb::ALL_EA;

  bool IsFor(const std::string& label) const { return !box && size == label; }
};

// The remainder of any number of quarter turns, 0 to 3.
int WithinFullCircle(int64_t turns);

struct ServedThumbnail {
  std::string file;
  std::string from;  // as the library names it: "Pixdeck", "Docdeck", "DocdeckVarTmp", …
  std::string mime;
  int turns_to_come = 0;       // turns of a stored photo-album thumbnail, made on its way out
  bool is_throw_away = false;  // to be deleted after use
};

// Asks the library as a web service does, except that nothing is sent; it may build the thumbnail.
// Nothing is deleted. Empty when there is none. Throws as the library does.
std::optional<ServedThumbnail> ServeThumbnail(const LibraryRequest& request);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_SERVED_THUMBNAIL_H_
