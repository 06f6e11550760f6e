#ifndef VEXATHUMB_SERVICE_SERVE_LIBRARY_ANSWER_H_
#define VEXATHUMB_SERVICE_SERVE_LIBRARY_ANSWER_H_

#include <string>

#include "service/build/thumbnail.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// What the library alone answers, asked as a web service does, except that nothing is sent: it may
// build the thumbnail, in its own form. Waits for others who build for the source; nothing is
// deleted. Throws std::system_error when the locks cannot be had.
Thumbnail AskLibrary(const ThumbnailRequest& request, const std::string& lock_directory);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_LIBRARY_ANSWER_H_
