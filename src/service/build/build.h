#ifndef VEXATHUMB_SERVICE_BUILD_BUILD_H_
#define VEXATHUMB_SERVICE_BUILD_BUILD_H_

#include <optional>
#include <string>

#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

struct BuildOptions {
  bool compaction = true;  // re-encode BMP data as JPEG
  int quality = 85;        // of that JPEG, 1 to 100
  int free_boxes = 16;     // stored at most for one source, avatars included
};

// A picture that answers a request.
struct BuiltPicture {
  std::string path;
  std::string mime;
  bool throw_away = false;  // to be deleted after use; never so for the source itself
};

// Builds the thumbnail for the request with the library, unless that very file is stored by now.
// `info` is the request's description after its inspection. The caller holds the source's lock.
//
// What appears in the store appears by a rename, complete and with the source's modification time.
// Where the store cannot be written, or holds enough free boxes, the picture is one to throw away,
// under a name of its own. Nothing when the tools cannot make one. Exceptions of the library pass
// through.
std::optional<BuiltPicture> BuildThumbnail(const ThumbnailRequest& request, const ThumbInfo& info,
                                           const BuildOptions& options);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_BUILD_H_
