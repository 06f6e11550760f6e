#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_

#include <string>

#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/request.h"

namespace vexathumb::web {

// All write a whole response, as CGI has it, to the C stream `stdout`: headers alone for HEAD.

// Status 200, with a document of json_text.h.
void SendJson(const std::string& document, const Request& request);

// Status 200, in the format of metrics.h.
void SendMetricsText(const std::string& text, const Request& request);

// A problem document, after discarding what is in the stream's buffer.
void SendProblem(const Problem& problem, bool is_head);

// The one that is sent where there is no memory left. Its status.
int SendNoMemory(bool is_head) noexcept;

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_RESPONSE_H_
