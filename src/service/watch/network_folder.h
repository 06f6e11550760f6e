#ifndef VEXATHUMB_SERVICE_WATCH_NETWORK_FOLDER_H_
#define VEXATHUMB_SERVICE_WATCH_NETWORK_FOLDER_H_

#include <string>

namespace vexathumb::service {

// Whether a folder lies on a file system that other machines change too, of which this one's kernel
// tells nothing.
bool IsOnNetwork(const std::string& folder);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_NETWORK_FOLDER_H_
