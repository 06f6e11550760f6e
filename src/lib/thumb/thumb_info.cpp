#include "thumb/thumb_info.h"

#include <utime.h>

#include <algorithm>

#include "common/error/error.h"

namespace vexathumb {

ThumbInfo::ThumbInfo(const std::string& path, const std::string& size,
                     const ThumbDimension& dimension)
    : path_(path), size_(size), dimension_(dimension) {
  if (stat(path_.c_str(), &st_) != 0) throw Error(Error::kInternalError, "Can't stat " + path_);
}

std::string ThumbInfo::GetOutputMimeType() const {
  if (mime_ == "image/gif" && enableGIF_ && !isCropMode_) return "image/gif";
  if (mime_ == "image/png") return "image/png";
  return "image/jpeg";
}

std::string ThumbInfo::GetOutputExtension() const {
  const std::string mime = GetOutputMimeType();
  if (mime == "image/gif") return ".gif";
  if (mime == "image/png") return ".png";
  return ".jpg";
}

ThumbDimension ThumbInfo::GetTargetDimension() const {
  ThumbDimension box = dimension_;
  if (IsSideways()) std::swap(box.width_, box.height_);
  if (width_ == 0 || height_ == 0) return box;
  return {std::min(width_, box.width_), std::min(height_, box.height_)};
}

bool ThumbInfo::IsWebAcceptable() const {
  return mime_ == "image/jpeg" || mime_ == "image/png" || mime_ == "image/gif" ||
         mime_ == "image/x-ms-bmp";
}

bool ThumbInfo::IsNeedConvert() const {
  if (mime_ == "image/gif" && !enableGIF_) return true;
  if (!IsWebAcceptable()) return true;
  // The sum, not its remainder: a turn by the file that the caller's turn undoes still converts.
  if (TurnSum() != 0) return true;
  if (size_ == kLarge) return width_ * height_ >= LARGE_ORIG_THRESHOLD;
  return width_ > dimension_.width_ || height_ > dimension_.height_;
}

bool ThumbInfo::IsThumbUptoDate(const std::string& thumbPath) const {
  struct stat thumb = {};
  return stat(thumbPath.c_str(), &thumb) == 0 && thumb.st_mtime == st_.st_mtime;
}

void ThumbInfo::UpdateAMTime(const std::string& thumbPath) const {
  const struct utimbuf times = {st_.st_atime, st_.st_mtime};
  utime(thumbPath.c_str(), &times);
}

}  // namespace vexathumb
