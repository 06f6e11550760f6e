#ifndef VEXAPLATFORM_HTTP_PRECONDITIONS_H_
#define VEXAPLATFORM_HTTP_PRECONDITIONS_H_

#include <ctime>
#include <string>

#include "platform/http/http_request.h"

namespace vexaplatform {

// What tells one state of a file from another.
struct Validators {
  std::string entity_tag;
  time_t modified = 0;  // as Last-Modified says it
};

enum class Verdict {
  kProceed,             // send it
  kNotModified,         // 304: the client has it already
  kPreconditionFailed,  // 412: the client wants another state only
};

// Judges the conditions of a GET or HEAD request, in the order of RFC 9110 section 13.2.2. Other
// methods, dates that are none and times to come in If-Modified-Since have no effect.
Verdict Judge(const HttpRequest& request, const Validators& file, time_t now);

// Whether the request wants the parts that its Range names, and not the whole: it is a GET, and the
// file is still the one of If-Range. A date there counts once its second is over, since the file
// may change again within it.
bool IsRangeWanted(const HttpRequest& request, const Validators& file, time_t now);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_PRECONDITIONS_H_
