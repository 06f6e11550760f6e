#include "programs/vexathumb-web/host_name.h"

#include <strings.h>

#include <algorithm>

namespace vexathumb::web {
namespace {

// Without a port, and without the dot that may end a whole name.
std::string_view NameIn(std::string_view host) {
  const size_t end_of_address = host.rfind(']');
  const size_t colon = host.rfind(':');
  const bool has_port = colon != std::string_view::npos &&
                        (end_of_address == std::string_view::npos || colon > end_of_address);
  if (has_port) host = host.substr(0, colon);
  if (host.size() > 1 && host.back() == '.') host.remove_suffix(1);
  return host;
}

}  // namespace

bool IsOneOfHosts(std::string_view host, const std::vector<std::string>& names) {
  if (host.empty()) return true;
  const std::string_view name = NameIn(host);
  return std::any_of(names.begin(), names.end(), [name](const std::string& one) {
    return one == "*" ||
           (one.size() == name.size() && strncasecmp(one.data(), name.data(), name.size()) == 0);
  });
}

}  // namespace vexathumb::web
