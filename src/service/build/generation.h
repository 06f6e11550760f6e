#ifndef VEXATHUMB_SERVICE_BUILD_GENERATION_H_
#define VEXATHUMB_SERVICE_BUILD_GENERATION_H_

#include <optional>

#include "service/build/build.h"

namespace vexathumb::service {

// Generates the thumbnail from the picture itself with the library's commands, in a form that
// browsers show, and with the source's time; the source itself where it serves as it is. Nothing
// when the tools cannot make one.
std::optional<BuiltPicture> GenerateThumbnail(const ThumbnailRequest& request,
                                              const ThumbInfo& info, const BuildOptions& options);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_GENERATION_H_
