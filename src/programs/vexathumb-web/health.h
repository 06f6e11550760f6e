#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HEALTH_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HEALTH_H_

#include "programs/vexathumb-web/request.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {

// Answers whether the service can do its work: its settings are sound and its locks can be had.
// Throws Problem.
void SendHealth(const Request& request, const vexaplatform::Settings& settings);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HEALTH_H_
