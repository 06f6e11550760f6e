#include "service/serve/inspection_memory.h"

#include "service/base/status_memory.h"

namespace vexathumb::service {
namespace {

StatusMemory<ThumbInfo>& Memory() {
  static StatusMemory<ThumbInfo> memory;
  return memory;
}

}  // namespace

void RememberInspection(const std::string& source, const struct stat& before,
                        const ThumbInfo& info) {
  Memory().Remember(source, before, info);
}

std::optional<ThumbInfo> RecallInspection(const ThumbnailRequest& request) {
  struct stat status = {};
  if (stat(request.source.c_str(), &status) != 0) return std::nullopt;
  std::optional<ThumbInfo> info = Memory().Recall(request.source, status);
  if (info) ApplyWishes(request, &*info);
  return info;
}

}  // namespace vexathumb::service
