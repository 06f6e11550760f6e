#ifndef VEXATHUMB_SERVICE_BUILD_AVATAR_H_
#define VEXATHUMB_SERVICE_BUILD_AVATAR_H_

#include <functional>
#include <optional>
#include <string>

#include "service/build/thumbnail.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// Builds a thumbnail that fits its box; nothing when none can be made.
using BuildFitted =
    std::function<std::optional<Thumbnail>(const ThumbnailRequest& request, const ThumbInfo& info)>;

// Writes the picture that a user expects of an avatar to `path`: the box filled from the middle of
// the upright, scaled source. No side becomes larger than the source's. It is cut from a named
// size, which `build_fitted` finds or builds, where one covers the box. False when none can be
// made.
bool MakeAvatar(const ThumbnailRequest& request, const ThumbInfo& info,
                const BuildFitted& build_fitted, const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_AVATAR_H_
