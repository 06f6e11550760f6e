#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_

#include <optional>
#include <string>

#include "service/build/build_settings.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// Brings what the library's commands have made for a request into the form in which it is kept and
// sent, at `picture`: of the type that its name says, re-encoded where it is BMP data, fitted where
// it is a raw file's whole preview. `info` is the request's description. The MIME type that it has
// then; nothing when the tools cannot do it, and the picture is of no use.
std::optional<std::string> BringIntoForm(const ThumbnailRequest& request, const ThumbInfo& info,
                                         const BuildOptions& options, const std::string& picture);

// Fits a picture of any size into the request's box, upright, under the same name; one that fits is
// left alone. Exceptions of the library pass through.
bool FitIntoBox(const ThumbnailRequest& request, const std::string& picture);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_
