#ifndef VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_

#include <optional>
#include <string>

#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// A file that answers a request as it lies on the disk.
struct StoredThumbnail {
  std::string path;
  std::string mime;
  bool turn_when_sent = false;  // photo-album thumbnails are stored once for all turns
  bool bmp_data = false;        // under a JPEG's name: the fast JPEG path's, not compacted yet
};

// Looks for a stored thumbnail without running a tool, waiting for anyone or writing anything, in
// the library's order of slots. `info` is the request's description after its inspection, which may
// have failed. Links are not taken, nor photo-album thumbnails that cannot be turned as asked.
std::optional<StoredThumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info);

// The stored thumbnail that building for this request makes, whichever slots the request names, if
// it is there and current.
std::optional<StoredThumbnail> FindBuilt(const ThumbnailRequest& request, const ThumbInfo& info);

// Its store path; empty when the platform refuses.
std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_
