#include "programs/vexathumb-web/shared_file.h"

#include "programs/vexathumb-web/problem.h"

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
  auto file = service::FindInShare(*share, relative);
  if (!file) throw NotFound();
  return {*share, relative, std::move(*file)};
}

}  // namespace vexathumb::web
