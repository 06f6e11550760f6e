#ifndef VEXATHUMB_SERVICE_BUILD_STORED_PREVIEW_H_
#define VEXATHUMB_SERVICE_BUILD_STORED_PREVIEW_H_

#include <optional>

#include "service/build/build.h"

namespace vexathumb::service {

// Makes the camera's embedded preview the stored thumbnail, as the library would, if there is one
// that fits the request: copied where it is upright, turned where it is not, in both cases complete
// before it has its name. Nothing when there is none or the store cannot be written.
std::optional<BuiltPicture> StoreEmbeddedPreview(const ThumbnailRequest& request);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_STORED_PREVIEW_H_
