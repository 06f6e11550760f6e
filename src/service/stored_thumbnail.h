#ifndef VEXATHUMB_SERVICE_STORED_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_STORED_THUMBNAIL_H_

#include <optional>
#include <string>

#include "service/thumbnail_request.h"

namespace vexathumb::service {

// A file that answers a request as it lies on the disk.
struct StoredThumbnail {
  std::string path;
  std::string mime;
  bool turn_when_sent = false;  // photo-album thumbnails are stored once for all turns
};

// Looks for a stored thumbnail without running a tool, waiting for anyone or writing anything, in
// the library's order of slots. `info` is the request's description after its inspection. A file
// that holds BMP data under a JPEG's name is not taken: it is about to be compacted.
std::optional<StoredThumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info);

// The store path of the file that building for this request makes.
std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORED_THUMBNAIL_H_
