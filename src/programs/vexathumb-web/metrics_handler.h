#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_HANDLER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_HANDLER_H_

#include <string>
#include <vector>

#include "programs/vexathumb-web/request.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {

// Whether the client's address, "192.0.2.1" or "2001:db8::1", is in one of the networks.
bool IsInNetworks(const std::string& address, const std::vector<vexaplatform::Network>& networks);

// Answers with the figures of all workers, to those alone whom the settings name. Throws Problem.
void SendMetrics(const Request& request, const vexaplatform::Settings& settings);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_HANDLER_H_
