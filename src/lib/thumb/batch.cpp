#include <syslog.h>

#include <algorithm>

#include "common/util/log_format.h"
#include "thumb/custom_size.h"
#include "thumb/libvexathumb.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "libvexathumb.cpp";
constexpr char kInternalErrorFormat[] = VEXATHUMB_LOG_FORMAT("Unknown Internal Error");

}  // namespace

int Thumb::Convert(std::initializer_list<std::string> sizes) {
  int converted = 0;
  for (const std::string& size : sizes) {
    thumbInfo_.SetSize(size);
    try {
      thumbInfo_.SetDimension(strThumbSizeMap_.at(size));
      if (SetOutOnline()) ++converted;
    } catch (...) {
      syslog(LOG_ERR, kInternalErrorFormat, kLogSource, 94, __func__);
    }
  }
  return converted;
}

int Thumb::Convert(std::initializer_list<ThumbDimension> dims) {
  int converted = 0;
  for (const ThumbDimension& dimension : dims) {
    thumbInfo_.SetSize(kCustomSize);
    thumbInfo_.SetDimension(dimension);
    try {
      if (SetOutOnline()) ++converted;
    } catch (...) {
      syslog(LOG_ERR, kInternalErrorFormat, kLogSource, 112, __func__);
    }
  }
  return converted;
}

bool Thumb::ConvertAll() { return Convert({kSmall, kMedium, kBig, kLarge, kExtraLarge}) != 0; }

std::string Thumb::CalcOutputFile(const std::string& size) {
  for (auto label = std::find(size_vec.begin(), size_vec.end(), size); label != size_vec.end();
       ++label) {
    thumbInfo_.SetSize(*label);
    thumbInfo_.SetDimension(strThumbSizeMap_.at(*label));
    if (!CalcOutputFile().empty() || !optFallback_) return outputName_;
  }
  return "";
}

}  // namespace vexathumb
