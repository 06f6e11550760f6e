#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_PARAMETERS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_PARAMETERS_H_

#include <string_view>

#include "service/build/thumbnail_request.h"

namespace vexathumb::web {

// What a thumbnail's parameters ask for; the source is left empty. Throws Problem 400.
service::ThumbnailRequest ReadThumbnailParameters(std::string_view query);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_PARAMETERS_H_
