#ifndef VEXATHUMB_THUMB_CONTAINER_ORIENTATION_H_
#define VEXATHUMB_THUMB_CONTAINER_ORIENTATION_H_

#include <string>

namespace vexathumb {

// Whether decoders hand pictures of this type out upright already, because the turn is a property
// of the container: applying the EXIF orientation to them would turn them twice. Their embedded
// previews are not turned, so they cannot take the picture's place.
inline bool IsTurnedByDecoder(const std::string& mime) {
  return mime == "image/heic" || mime == "image/heif" || mime == "image/avif" ||
         mime == "image/jxl";
}

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_CONTAINER_ORIENTATION_H_
