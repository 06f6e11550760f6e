#include <unistd.h>

#include <ctime>
#include <utility>

#include "thumb/path_name.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb {

GIFConvertCmd::GIFConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest)
    : ThumbConvertCmd(std::move(info), src, dest) {
  strDim_ = info_.GetXString();
  strRotate_ = Degrees(info_.GetRotate());
  strUserRotate_ = Degrees(info_.GetUserRotate());
  setupCoalesceTmpPath();
}

void GIFConvertCmd::setupCoalesceTmpPath() {
  strTmp_ = "/var/tmp/convert_thumbnail__" + std::to_string(time(nullptr)) + LastComponent(src_);
  const char* const argv[] = {kConvert.c_str(), src_.c_str(), "-coalesce", strTmp_.c_str(),
                              nullptr};
  if (VLIBCExecv(kConvert.c_str(), argv, 1) == 0) return;
  unlink(strTmp_.c_str());
  strTmp_.clear();
}

bool GIFConvertCmd::exec() {
  if (strTmp_.empty()) return false;
  argv_ = {kConvert.c_str(), "-strip",  "-colorspace",          "sRGB",        "-thumbnail",
           strDim_.c_str(),  "-rotate", strRotate_.c_str(),     "-layers",     "optimize",
           strTmp_.c_str(),  "-rotate", strUserRotate_.c_str(), dest_.c_str(), nullptr};
  if (VLIBCExecv(kConvert.c_str(), argv_.data(), 1) != 0) {
    unlink(dest_.c_str());
    return false;
  }
  unlink(strTmp_.c_str());
  return true;
}

}  // namespace vexathumb
