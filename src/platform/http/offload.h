#ifndef VEXAPLATFORM_HTTP_OFFLOAD_H_
#define VEXAPLATFORM_HTTP_OFFLOAD_H_

#include <sys/stat.h>

#include <ctime>
#include <optional>
#include <string>

#include "platform/http/http_request.h"
#include "platform/http/response_head.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {

// The header that makes the web server send the file at `path`, or nothing where this process is to
// send it:
//
// - by the settings: no delivery by the server, or a path that it does not know;
// - for names that servers refuse: relative paths, those with "." and ".." in them, and, with
//   X-Sendfile, control characters and what is not UTF-8;
// - for a file that changed within the last seconds, since servers keep files open for as long and
//   would send the former bytes under the new entity tag;
// - for a request whose conditions the server would judge once more, by its own measure.
std::optional<Header> OffloadHeader(const HttpSettings& settings, const HttpRequest& request,
                                    const std::string& path, const struct stat& file, time_t now);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_OFFLOAD_H_
