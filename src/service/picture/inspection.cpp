#include "service/picture/inspection.h"

#include <stdexcept>

#include "common/error/error.h"
#include "thumb/libvexathumb.h"

namespace vexathumb::service {
namespace {

InspectionResult ResultOf(const Error& error) {
  switch (error.Code()) {
    case Error::kNoExifMeta:
      return InspectionResult::kUnknownContent;
    case Error::kFileNotFound:
      return InspectionResult::kUnreadable;
    default:
      return InspectionResult::kDamaged;
  }
}

}  // namespace

Inspection Inspect(ThumbInfo* info, WithPreview preview) {
  try {
    info->ExtractImgInfo(preview == WithPreview::kYes);
    return {};
  } catch (const Error& error) {
    return {ResultOf(error), CauseOf(error)};
  } catch (const std::logic_error& error) {  // a number in the metadata that is none
    return {InspectionResult::kDamaged, CauseOf(error)};
  } catch (const std::runtime_error& error) {  // an offset and a size that no file has
    return {InspectionResult::kDamaged, CauseOf(error)};
  }
}

InspectedSource::InspectedSource(const std::string& path, bool allow_gif) : path_(path) {
  try {
    info_.emplace(path, kOriginal, Thumb::strThumbSizeMap_.at(kOriginal));
  } catch (const Error&) {
    inspection_ = {InspectionResult::kMissing, cause::kMissingSource};
    return;
  }
  info_->SetEnableGIF(allow_gif);
  inspection_ = Inspect(&*info_);
}

ThumbInfo InspectedSource::ForSize(const std::string& label) const {
  ThumbInfo info = *info_;
  info.SetSize(label);
  info.SetDimension(Thumb::strThumbSizeMap_.at(label));
  return info;
}

std::string InspectedSource::StorePath(const std::string& name) const {
  return file::GetEAPath(path_, name);
}

}  // namespace vexathumb::service
