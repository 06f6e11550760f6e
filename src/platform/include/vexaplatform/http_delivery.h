#ifndef VEXAPLATFORM_VEXAPLATFORM_HTTP_DELIVERY_H_
#define VEXAPLATFORM_VEXAPLATFORM_HTTP_DELIVERY_H_

#include "vexa/types.h"

// Who sends the bytes of a file. With the setting `delivery` the responder of
// http/http_file_responder.h names the file to the web server, which reads it only after the
// program has answered: a file that is deleted right afterwards must not go that way.

namespace vexaplatform {

// Sends the file at `path` as HttpFileResponder::Output(path, mime) does, but always from this
// process, so that the file may be changed or deleted after the return. Results are the same.
//
//   if (SendFileFromHere(throw_away, "image/jpeg") != 0) …
//   unlink(throw_away);
VEXAPLATFORM_API int SendFileFromHere(const char* path, const char* mime);

// Whether HttpFileResponder::Output(path, mime), called now for the current request, would leave
// the file's bytes to the web server.
VEXAPLATFORM_API bool WouldOffload(const char* path);

// The status of the last answer that this thread has begun by HttpFileResponder or
// SendFileFromHere, or 0. Of a file that the web server sends it is 200, whatever the server makes
// of ranges.
VEXAPLATFORM_API int LastStatus();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_HTTP_DELIVERY_H_
