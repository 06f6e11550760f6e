#include <unistd.h>

#include <ctime>
#include <utility>

#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb {
namespace {

constexpr uint32_t kBmpHeaderBytes = 54;
constexpr uint32_t kBytesPerPixel = 3;
constexpr uint32_t kNeedDeleteSlackBytes = 0x80000;

}  // namespace

DJpegCmd::DJpegCmd(ThumbInfo info, const std::string& src, const std::string& dest)
    : ThumbConvertCmd(std::move(info), src, dest) {
  CalcScaleString();
  const auto turns =
      static_cast<uint32_t>(info_.GetRotate()) + static_cast<uint32_t>(info_.GetUserRotate());
  const bool upright = (turns & 3U) == 0 && !info_.GetFlop();
  tmp_ = upright ? dest_ : dest_ + "_" + std::to_string(time(nullptr));
  argv_ = {kDjpeg.c_str(), "-scale", scale_.c_str(), "-dct",       "fast",       "-fast",
           "-onepass",     "-bmp",   "-outfile",     tmp_.c_str(), src_.c_str(), nullptr};
}

bool DJpegCmd::exec() {
  if (VLIBCExecv(kDjpeg.c_str(), argv_.data(), 1) != 0) return false;
  if (tmp_ == dest_) return true;
  const bool converted = ConvertCmd(info_, tmp_, dest_).exec();
  unlink(tmp_.c_str());
  return converted;
}

int DJpegCmd::GetScale() const { return CalcScale(); }

uint32_t DJpegCmd::GetConvertBytes() const {
  const uint32_t pixels = (info_.GetWidth() * info_.GetHeight()) >> (2 * CalcScale());
  return pixels * kBytesPerPixel + kBmpHeaderBytes;
}

bool DJpegCmd::IsNeedDelete() const {
  return GetConvertBytes() + kNeedDeleteSlackBytes > info_.GetFileSize();
}

int DJpegCmd::CalcScale() const {
  const ThumbDimension target = info_.GetTargetDimension();
  const uint32_t width = info_.GetWidth();
  const uint32_t height = info_.GetHeight();
  int n = 0;
  while (n < 3 && (target.width_ < (width >> n) || target.height_ < (height >> n))) ++n;
  const uint32_t pixels = (width * height) >> (2 * n);
  const double box = static_cast<double>(target.width_) * static_cast<double>(target.height_);
  if (static_cast<double>(pixels) <= box * TOO_SMALL_RATIO) --n;
  return n < 0 ? 0 : n;
}

void DJpegCmd::CalcScaleString() { scale_ = "1/" + std::to_string(1 << CalcScale()); }

}  // namespace vexathumb
