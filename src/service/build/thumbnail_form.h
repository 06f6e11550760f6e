#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_

#include <string>

#include "service/build/build.h"

namespace vexathumb::service {

// Brings what the library's commands have made for a request into the form in which it is kept and
// sent: of the type that its name says, re-encoded where it is BMP data, fitted where it is a raw
// file's whole preview, and with the source's time. `info` is the request's description. False when
// the tools cannot do it; the picture is then of no use.
bool BringIntoForm(const ThumbnailRequest& request, const ThumbInfo& info,
                   const BuildOptions& options, BuiltPicture* picture);

// Fits a picture of any size into the request's box, upright, under the same name; one that fits is
// left alone. Exceptions of the library pass through.
bool FitIntoBox(const ThumbnailRequest& request, const std::string& picture);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_FORM_H_
