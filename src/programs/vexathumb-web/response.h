#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/request.h"

namespace vexathumb::web {

// All write a whole response, as CGI has it, to the C stream `stdout`: headers alone for HEAD.

// Status 200. Bytes that are not UTF-8 become U+FFFD.
void SendJson(const nlohmann::ordered_json& document, const Request& request);

// Status 200, in the format of metrics.h.
void SendMetricsText(const std::string& text, const Request& request);

// A problem document, after discarding what is in the stream's buffer.
void SendProblem(const Problem& problem, bool is_head);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_
