#ifndef VEXATHUMB_SERVICE_BUILD_AVATAR_H_
#define VEXATHUMB_SERVICE_BUILD_AVATAR_H_

#include <optional>

#include "service/build/build.h"

namespace vexathumb::service {

// Builds the picture that a user expects of an avatar: the box filled from the middle of the
// upright, scaled source. No side becomes larger than the source's. Stored under the library's
// avatar name with the source's time, so that the library finds it current.
std::optional<BuiltPicture> BuildAvatar(const ThumbnailRequest& request, const ThumbInfo& info,
                                        const BuildOptions& options);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_AVATAR_H_
