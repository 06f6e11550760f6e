#include <utility>

#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb {

JpegTranCmd::JpegTranCmd(ThumbInfo info, const std::string& src, const std::string& dest,
                         bool noIntrinsicRotate)
    : ThumbConvertCmd(std::move(info), src, dest) {
  const int intrinsic = noIntrinsicRotate ? 0 : info_.GetRotate();
  const int turns = static_cast<int>(static_cast<uint32_t>(intrinsic) +
                                     static_cast<uint32_t>(info_.GetUserRotate()));
  rotate_ = Degrees(turns % 4);
  argv_ = {kJpegtran.c_str(), "-trim", "-rotate", rotate_.c_str()};
  if (!dest_.empty()) argv_.insert(argv_.end(), {"-outfile", dest_.c_str()});
  argv_.insert(argv_.end(), {src_.c_str(), nullptr});
}

bool JpegTranCmd::exec() { return VLIBCExecv(kJpegtran.c_str(), argv_.data(), 1) == 0; }

FILE* JpegTranCmd::popen() { return VLIBCPopenv(kJpegtran.c_str(), "r", argv_.data()); }

}  // namespace vexathumb
