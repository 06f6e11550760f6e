#include "platform/http/offload.h"

#include <algorithm>

#include "platform/http/text_encoding.h"

namespace vexaplatform {
namespace {

constexpr time_t kServersMemory = 4;  // seconds; lighttpd looks at a file again after one to two

std::string Encoded(const std::string& path) { return PercentEncoded(path, "-._~/"); }

// Whether the path is absolute and names no folder twice: servers take "." and ".." out of it as a
// text, which is another file where a link is passed.
bool IsPlainPath(const std::string& path) {
  if (path.empty() || path[0] != '/') return false;
  const std::string closed = path + "/";
  return closed.find("//") == std::string::npos && closed.find("/./") == std::string::npos &&
         closed.find("/../") == std::string::npos;
}

bool IsWithin(const std::string& path, const std::string& folder) {
  if (folder == "/") return true;
  return path.compare(0, folder.size(), folder) == 0 &&
         (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string WithoutTrailingSlash(std::string path) {
  if (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

std::optional<Header> Sendfile(const std::string& path) {
  if (!IsUtf8(path) || std::any_of(path.begin(), path.end(), IsControl)) return std::nullopt;
  return Header{"X-Sendfile", Encoded(path)};
}

// By the longest of the mapped folders that the file is in.
std::optional<Header> AccelRedirect(const std::vector<UriMapping>& map, const std::string& path) {
  const UriMapping* nearest = nullptr;
  for (const UriMapping& mapping : map) {
    if (!IsWithin(path, mapping.path)) continue;
    if (nearest == nullptr || mapping.path.size() > nearest->path.size()) nearest = &mapping;
  }
  if (nearest == nullptr) return std::nullopt;
  const std::string below = path.substr(WithoutTrailingSlash(nearest->path).size());
  return Header{"X-Accel-Redirect", Encoded(WithoutTrailingSlash(nearest->uri) + below)};
}

// If-None-Match may be judged twice: the server has our entity tag, or one of its own that only
// its own answers told the client.
bool IsJudgedAlike(const HttpRequest& request) {
  return request.if_match.empty() && request.if_unmodified_since.empty() &&
         request.if_range.empty() &&
         (request.if_modified_since.empty() || !request.if_none_match.empty());
}

}  // namespace

std::optional<Header> OffloadHeader(const HttpSettings& settings, const HttpRequest& request,
                                    const std::string& path, const struct stat& file, time_t now) {
  const bool is_at_rest = file.st_ctim.tv_sec + kServersMemory < now;
  if (settings.delivery == HttpDelivery::kSelf || !is_at_rest || !IsPlainPath(path) ||
      !IsJudgedAlike(request)) {
    return std::nullopt;
  }
  return settings.delivery == HttpDelivery::kXSendfile ? Sendfile(path)
                                                       : AccelRedirect(settings.map, path);
}

}  // namespace vexaplatform
