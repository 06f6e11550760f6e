#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HOST_NAME_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HOST_NAME_H_

#include <string>
#include <string_view>
#include <vector>

namespace vexathumb::web {

// Whether a host as a client names it, "localhost:8080", is one of these names, whatever its port
// and capitals; none at all is any. "*" among the names stands for all.
//
// A browser takes a page of somebody else's for one of this server's when that page's name is made
// to lead here; all that tells them apart is the name that it sends.
bool IsOneOfHosts(std::string_view host, const std::vector<std::string>& names);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_HOST_NAME_H_
