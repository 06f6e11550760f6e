#include <unistd.h>

#include <utility>

#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb {

ConvertCmd::ConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest)
    : ThumbConvertCmd(std::move(info), src, dest) {
  strDim_ = info_.GetXString();
  strRotate_ = Degrees(info_.GetRotate());
  strUserRotate_ = Degrees(info_.GetUserRotate());
  src_ += "[0]";
  if (info_.GetCropMode()) {
    ThumbDimension box = info_.GetDimension();
    if ((info_.GetUserRotate() & 1) != 0) std::swap(box.width_, box.height_);
    // A source smaller than the box wraps around, and the tool is given the large offset as it is.
    const uint32_t x = (info_.GetWidth() - box.width_) >> 1;
    const uint32_t y = (info_.GetHeight() - box.height_) >> 1;
    strDim_ += "+" + std::to_string(x) + "+" + std::to_string(y);
  }

  argv_ = {kConvert.c_str(), "-strip", "-colorspace", "sRGB", src_.c_str()};
  argv_.push_back(info_.GetCropMode() ? "-crop" : "-thumbnail");
  argv_.insert(argv_.end(), {strDim_.c_str(), "-rotate", strRotate_.c_str()});
  // The file's turn comes before the mirror, the caller's after it: an EXIF mirror is one of the
  // upright picture.
  if (info_.GetFlop()) argv_.push_back("-flop");
  argv_.insert(argv_.end(), {"-rotate", strUserRotate_.c_str(), dest_.c_str(), nullptr});
}

bool ConvertCmd::exec() {
  if (VLIBCExecv(kConvert.c_str(), argv_.data(), 1) == 0) return true;
  unlink(dest_.c_str());
  return false;
}

}  // namespace vexathumb
