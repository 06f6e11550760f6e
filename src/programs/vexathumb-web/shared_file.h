#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_FILE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_FILE_H_

#include <string>
#include <vector>

#include "service/base/share_paths.h"

namespace vexathumb::web {

struct SharedFile {
  const vexaplatform::ShareSettings& share;  // of the settings that it was looked up in
  std::string relative;                      // to the share, without a slash at either end
  service::SharedPath file;
};

// Finds the file or folder that a request's path names: the share first, then what lies beneath it.
// Throws NotFound(), and a Problem where the machine keeps it from being found.
SharedFile FindSharedFile(const vexaplatform::Settings& settings,
                          const std::vector<std::string>& path);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_FILE_H_
