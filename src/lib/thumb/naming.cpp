#include "thumb/custom_size.h"
#include "thumb/thumb_info.h"
#include "vexa/share.h"

namespace vexathumb {

std::string ThumbInfo::GetRotateSuffix() const {
  const int turns = TurnSum() % 4;
  return turns == 0 ? "" : "_r" + std::to_string(turns);
}

std::string ThumbInfo::GetXString() const {
  const ThumbDimension target = GetTargetDimension();
  return std::to_string(target.width_) + "x" + std::to_string(target.height_);
}

std::string ThumbInfo::GetPixdeckThumbEAName() const {
  return "VEXAPHOTO_THUMB_" + kSizeLabelMap_.at(size_) + GetOutputExtension();
}

std::string ThumbInfo::GetPixdeckOldThumbEAName() const {
  return "VEXAPHOTO:THUMB_" + kSizeLabelMap_.at(size_) + GetOutputExtension();
}

std::string ThumbInfo::GetDocdeckThumbEAName() const {
  const std::string size = size_ == kCustomSize ? GetXString() : kSizeLabelMap_.at(size_);
  return "VEXAFILE_THUMB_" + size + GetRotateSuffix() + GetOutputExtension();
}

std::string ThumbInfo::GetDocdeckTmpThumbEAName() const {
  return "VEXAFILETMP_THUMB" + GetRotateSuffix() + GetOutputExtension();
}

std::string ThumbInfo::GetReeldeckThumbEAName() const { return "VEXAVIDEO_VIDEO_SCREENSHOT.jpg"; }

std::string ThumbInfo::GetAvatarThumbEAName() const {
  return "VEXAAVATAR_" + GetXString() + GetRotateSuffix() + GetOutputExtension();
}

bool ThumbInfo::IsThumbShareIndexed() const {
  const size_t volume_end = path_.find('/', 1);
  const std::string rest = path_.substr(volume_end == std::string::npos ? 1 : volume_end);
  const size_t share_end = rest.find('/', 1);
  const std::string name =
      share_end == std::string::npos ? rest.substr(1) : rest.substr(1, share_end - 1);

  VEXASHARE* share = nullptr;
  const bool found = VEXAShareGet(name.c_str(), &share) == 0;
  const bool indexed = found && share != nullptr && (share->status & SHARE_STATUS_INDEXED) != 0;
  if (share != nullptr) VEXAShareFree(share);
  return indexed;
}

}  // namespace vexathumb
