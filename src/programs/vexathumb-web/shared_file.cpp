#include "programs/vexathumb-web/shared_file.h"

#include <cerrno>

#include "programs/vexathumb-web/problem.h"
#include "service/base/machine_error.h"

namespace vexathumb::web {

SharedFile FindSharedFile(const vexaplatform::Settings& settings,
                          const std::vector<std::string>& path) {
  const auto* const share = path.empty() ? nullptr : service::FindShare(settings, path[0]);
  if (share == nullptr) throw NotFound();
  std::string relative;
  for (size_t i = 1; i < path.size(); ++i) {
    if (path[i].find('/') != std::string::npos) throw NotFound();  // no name has one
    relative += (i == 1 ? "" : "/") + path[i];
  }
  // A single empty component is the share with a slash behind it, not the share.
  if (path.size() > 1 && relative.empty()) throw NotFound();
  errno = 0;
  auto file = service::FindInShare(*share, relative);
  if (!file && service::IsMachineError(errno)) {
    throw Problem(503, "The file cannot be read at the moment.", std::chrono::minutes(1));
  }
  if (!file) throw NotFound();
  return {*share, relative, std::move(*file)};
}

}  // namespace vexathumb::web
