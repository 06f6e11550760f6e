#ifndef VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "service/build/thumbnail.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// Looks for a stored thumbnail without running a tool, waiting for anyone or writing anything, in
// the library's order of slots. `info` is the request's description after its inspection, which may
// have failed, and `source` the source's status from before that. Links are not taken, nor
// photo-album thumbnails that cannot be turned as asked.
std::optional<Thumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info,
                                    const struct stat& source);

// The stored thumbnail that building for this request makes, whichever slots the request names, if
// it is there and current.
std::optional<Thumbnail> FindBuilt(const ThumbnailRequest& request, const ThumbInfo& info,
                                   const struct stat& source);

// The type under which browsers know the source itself.
std::string MimeOfSource(const ThumbInfo& info);

// The source where it answers the request as it is; `info` is the request's description.
Thumbnail SourceItself(const ThumbnailRequest& request, const ThumbInfo& info);

// The store path of the thumbnail that building for this request makes; empty when the platform
// refuses.
std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_STORED_THUMBNAIL_H_
