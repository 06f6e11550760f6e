#include "thumb/thumb_convert_cmd.h"

#include <utility>

namespace vexathumb {

const std::string ThumbConvertCmd::kConvert = "/usr/bin/convert";
const std::string ThumbConvertCmd::kDjpeg = "/usr/bin/djpeg";
const std::string ThumbConvertCmd::kJpegtran = "/usr/bin/jpegtran";
const std::string ThumbConvertCmd::kDcraw = "/usr/bin/dcraw";

ThumbConvertCmd::ThumbConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest)
    : info_(std::move(info)), src_(src), dest_(dest) {}

std::string ThumbConvertCmd::Degrees(int quarter_turns) {
  return std::to_string(static_cast<int>(static_cast<uint32_t>(quarter_turns) * 90U));
}

}  // namespace vexathumb
