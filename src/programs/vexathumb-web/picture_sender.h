#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PICTURE_SENDER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PICTURE_SENDER_H_

#include "programs/vexathumb-web/request.h"
#include "service/serve/obtain.h"

namespace vexathumb::web {

// Sends a picture to the client, turned on its way if need be, and deletes it afterwards if it is
// one to throw away. Throws Problem when nothing has been sent yet; when the client goes away in
// the middle, the answer just ends.
void SendPicture(const service::Thumbnail& picture, const service::ThumbnailRequest& asked,
                 const Request& request);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PICTURE_SENDER_H_
