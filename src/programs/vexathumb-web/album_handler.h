#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ALBUM_HANDLER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ALBUM_HANDLER_H_

#include "programs/vexathumb-web/request.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {

// Answers with the list of shares or of a folder's entries. Throws Problem.
void SendAlbum(const Request& request, const vexaplatform::Settings& settings);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ALBUM_HANDLER_H_
