#ifndef VEXATHUMB_THUMB_PATH_NAME_H_
#define VEXATHUMB_THUMB_PATH_NAME_H_

#include <string>

namespace vexathumb {

// What follows the last slash; the whole path if it has none.
inline std::string LastComponent(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_PATH_NAME_H_
