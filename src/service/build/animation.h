#ifndef VEXATHUMB_SERVICE_BUILD_ANIMATION_H_
#define VEXATHUMB_SERVICE_BUILD_ANIMATION_H_

#include <string>

#include "thumb/thumb_info.h"

namespace vexathumb::service {

// Writes all frames of the animated GIF `source` to `path`, fitted and turned as `info` says: by
// the two steps of the library's command, with a file in between that is nobody else's. The library
// names that one by the second and the source's name, so that two builds at once would take each
// other's. On failure nothing is left.
bool MakeAnimation(const ThumbInfo& info, const std::string& source, const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_ANIMATION_H_
