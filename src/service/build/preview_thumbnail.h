#ifndef VEXATHUMB_SERVICE_BUILD_PREVIEW_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_BUILD_PREVIEW_THUMBNAIL_H_

#include <string>

#include "service/build/thumbnail_request.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// Writes the thumbnail that the request asks for to `path`, made of the camera's embedded preview,
// as the library would, if there is one that fits the request: copied where it is upright, turned
// where it is not. False when there is none, or the source is not that version any more.
bool MakeFromEmbeddedPreview(const ThumbnailRequest& request, const SourceVersion& version,
                             const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_PREVIEW_THUMBNAIL_H_
