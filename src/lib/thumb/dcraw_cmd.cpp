#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "common/error/error.h"
#include "common/util/util.h"
#include "thumb/path_name.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb {
namespace {

constexpr size_t kCopyBufferSize = 4096;
constexpr char kMeasuredSize[] = "__CUSTOM__";

// Copies to the end of input; false when there was none, or on the first read or write that fails
// or falls short. Works on descriptors, so that nothing waits in a stream's buffer afterwards.
bool streamFp(int fdOut, int fdIn) {
  char buffer[kCopyBufferSize];
  int64_t total = 0;
  for (;;) {
    const ssize_t count = read(fdIn, buffer, sizeof(buffer));
    if (count == -1) return false;
    if (count == 0) return total > 0;
    if (write(fdOut, buffer, static_cast<size_t>(count)) != count) return false;
    total += count;
  }
}

// The name can be guessed by whoever may write to the share: nothing is written through what stands
// there, which is removed instead.
FILE* CreateFile(const std::string& path) {
  FILE* const file = fopen(path.c_str(), "wbx");
  if (file != nullptr || errno != EEXIST || unlink(path.c_str()) != 0) return file;
  return fopen(path.c_str(), "wbx");
}

void DcrawCmdCleanUp(FILE** in, FILE** out) {
  if (*in != nullptr) {
    VLIBCPclose(*in);
    *in = nullptr;
  }
  if (*out != nullptr) {
    fclose(*out);
    *out = nullptr;
  }
}

}  // namespace

DcrawCmd::DcrawCmd(ThumbInfo info, const std::string& src, const std::string& dest)
    : ThumbConvertCmd(std::move(info), src, dest) {
  argv_ = {kDcraw.c_str(), "-6", "-w", "-c", "-e", src_.c_str(), nullptr};
  setupRawThumbPath();
}

DcrawCmd::~DcrawCmd() { DcrawCmdCleanUp(&streamFpIn_, &streamFpOut_); }

void DcrawCmd::setupRawThumbPath() {
  try {
    raw_ = file::GetEATmpPath(src_, LastComponent(dest_));
    streamFpOut_ = CreateFile(raw_);
    if (streamFpOut_ == nullptr) throw Error(Error::kNoExifMeta);
    streamFpIn_ = VLIBCPopenv(kDcraw.c_str(), "r", argv_.data());
    if (streamFpIn_ == nullptr) throw Error(Error::kNoExifMeta);
    if (!streamFp(fileno(streamFpOut_), fileno(streamFpIn_))) {
      unlink(raw_.c_str());
      throw Error(Error::kNoExifMeta);
    }
    if (info_.GetWidth() != 0 && info_.GetHeight() != 0) return;
    ThumbInfo measured(raw_, kMeasuredSize, ThumbDimension(0, 0));
    measured.ExtractImgInfo(false);
    info_.SetWidth(measured.GetWidth());
    info_.SetHeight(measured.GetHeight());
  } catch (const Error&) {
    raw_.clear();
    DcrawCmdCleanUp(&streamFpIn_, &streamFpOut_);
  } catch (...) {
    // Leaves the constructor, so that no destructor will reap the child.
    DcrawCmdCleanUp(&streamFpIn_, &streamFpOut_);
    throw;
  }
}

bool DcrawCmd::checkTmpExif() {
  if (dest_.empty()) return false;
  try {
    ThumbInfo measured(dest_, kMeasuredSize, ThumbDimension(0x7FFFFFFF, 0x7FFFFFFF));
    measured.ExtractImgInfo(false);
    return measured.GetWidth() != 0 && measured.GetHeight() != 0;
  } catch (...) {
    return false;
  }
}

bool DcrawCmd::exec() {
  if (raw_.empty()) return false;
  const bool scaled = info_.IsGood() && (DJpegCmd(info_, raw_, dest_).exec() ||
                                         ConvertCmd(info_, raw_, dest_).exec());
  if (!scaled && rename(raw_.c_str(), dest_.c_str()) != 0) {
    unlink(raw_.c_str());
    return false;
  }
  const bool readable = checkTmpExif();
  unlink(raw_.c_str());
  return readable;
}

}  // namespace vexathumb
