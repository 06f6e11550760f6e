#include <algorithm>
#include <cctype>

#include "common/util/util.h"

namespace vexathumb {

std::string file::GetFileExt(const std::string& path) {
  std::string lowered = path;
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  const size_t dot = lowered.rfind('.');
  return dot == std::string::npos ? lowered : lowered.substr(dot + 1);
}

bool IsSupportExt(const std::unordered_set<const char*>& set, const std::string& path) {
  const std::string ext = file::GetFileExt(path);
  return std::any_of(set.begin(), set.end(), [&ext](const char* entry) { return ext == entry; });
}

bool IsSupportImage(const std::string& path) { return IsSupportExt(kImageExt, path); }

bool IsSupportVideo(const std::string& path) { return IsSupportExt(kVideoExt, path); }

}  // namespace vexathumb
