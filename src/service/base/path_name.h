#ifndef VEXATHUMB_SERVICE_BASE_PATH_NAME_H_
#define VEXATHUMB_SERVICE_BASE_PATH_NAME_H_

#include <string>

namespace vexathumb::service {

// What follows the last slash; the whole path if it has none.
inline std::string LastComponent(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_PATH_NAME_H_
