#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_HANDLER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_HANDLER_H_

#include "programs/vexathumb-web/request.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {

// Answers with a thumbnail, finding it or having it built. Throws Problem, and what
// service::ObtainThumbnail throws.
void SendThumbnail(const Request& request, const vexaplatform::Settings& settings);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_THUMBNAIL_HANDLER_H_
