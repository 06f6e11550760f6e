#ifndef VEXATHUMB_SERVICE_SERVE_DESKTOP_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_SERVE_DESKTOP_THUMBNAIL_H_

#include <optional>
#include <string>

#include "service/build/thumbnail.h"

namespace vexathumb::service {

// A local file as desktops name it.
struct DesktopSource {
  std::string uri;   // file:///srv/a%20b.jpg
  std::string path;  // absolute
};

// Of a URI, or of a path, relative ones included. Nothing of a URI that names no local file.
std::optional<DesktopSource> ReadDesktopSource(const std::string& uri_or_path);

// Makes what the thumbnail services of desktops ask for: a PNG in sRGB, fitted into a box of `side`
// pixels and never enlarged, with texts that say of which file it is, as it was when. A stored
// thumbnail that is large enough serves; nothing is stored, and nothing is written into the
// source's folder. `png` is set where the outcome is a picture. Throws std::system_error when the
// locks cannot be had.
Thumbnail MakeDesktopThumbnail(const DesktopSource& source, uint32_t side, std::string* png);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_DESKTOP_THUMBNAIL_H_
