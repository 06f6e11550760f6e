#include "service/serve/metadata_cache.h"

#include <utility>

#include "service/base/stat_cache.h"

namespace vexathumb::service {
namespace {

StatCache<ThumbInfo>& Cache() {
  static StatCache<ThumbInfo> cache;
  return cache;
}

}  // namespace

void CacheMetadata(const std::string& source, const struct stat& before, const ThumbInfo& info) {
  Cache().Put(source, before, info);
}

std::optional<CachedSource> CachedMetadata(const ThumbnailRequest& request) {
  struct stat status = {};
  if (stat(request.source.c_str(), &status) != 0) return std::nullopt;
  std::optional<ThumbInfo> info = Cache().Get(request.source, status);
  if (!info) return std::nullopt;
  ApplyWishes(request, &*info);
  return CachedSource{*std::move(info), status};
}

}  // namespace vexathumb::service
