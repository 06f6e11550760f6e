#include "service/picture/inspected_source.h"

#include "thumb/libvexathumb.h"

namespace vexathumb::service {

InspectedSource::InspectedSource(const std::string& path, bool allow_gif)
    : path_(path), info_(path, kOriginal, Thumb::strThumbSizeMap_.at(kOriginal)) {
  info_.SetEnableGIF(allow_gif);
  try {
    info_.ExtractImgInfo(false);
  } catch (const Error& error) {
    if (error.Code() != Error::kNoExifMeta) throw;
    content_problem_ = CauseOf(error);
  }
}

ThumbInfo InspectedSource::ForSize(const std::string& label) const {
  ThumbInfo info = info_;
  info.SetSize(label);
  info.SetDimension(Thumb::strThumbSizeMap_.at(label));
  return info;
}

std::string InspectedSource::StorePath(const std::string& name) const {
  return file::GetEAPath(path_, name);
}

}  // namespace vexathumb::service
