#ifndef VEXATHUMB_SERVICE_SERVE_METADATA_CACHE_H_
#define VEXATHUMB_SERVICE_SERVE_METADATA_CACHE_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// What this process has lately read of sources' metadata, so that a stored thumbnail is found
// without reading them again: the StatCache of inspections.

// `info` has been inspected, and `before` is the source's status from before that.
void CacheMetadata(const std::string& source, const struct stat& before, const ThumbInfo& info);

struct CachedSource {
  ThumbInfo info;  // the request's description, inspected earlier
  struct stat status = {};
};

// What is remembered of the request's source. Nothing when it is not, or has changed since.
std::optional<CachedSource> CachedMetadata(const ThumbnailRequest& request);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_METADATA_CACHE_H_
