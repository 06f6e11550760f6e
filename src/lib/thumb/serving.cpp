#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "common/util/log_format.h"
#include "http/http_file_responder.h"
#include "thumb/custom_size.h"
#include "thumb/libvexathumb.h"
#include "thumb/path_name.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "libvexathumb.cpp";

bool IsThere(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

uint32_t TurnSumOf(const ThumbInfo& info) {
  return static_cast<uint32_t>(info.GetRotate()) + static_cast<uint32_t>(info.GetUserRotate());
}

}  // namespace

bool Thumb::Output(const std::string& size) {
  thumbInfo_.SetSize(size);
  thumbInfo_.SetDimension(strThumbSizeMap_.at(size));
  return OutputImpl();
}

bool Thumb::Output(int width, int height) {
  thumbInfo_.SetSize(kCustomSize);
  thumbInfo_.SetDimension({static_cast<uint32_t>(width), static_cast<uint32_t>(height)});
  return OutputImpl();
}

bool Thumb::Output(int side) { return Output(side, side); }

bool Thumb::OutputImpl() {
  if (CalcOutputFile().empty()) return false;
  return HttpOutputFile(thumbInfo_.GetOutputMimeType());
}

std::string Thumb::CalcOutputFile() {
  if (!isVideo_) {
    try {
      thumbInfo_.ExtractImgInfo(true);
    } catch (const Error& error) {
      if (error.Code() != Error::kNoExifMeta) throw Error(error);
    }
  }
  if (thumbInfo_.GetSize() == kOriginal) {
    if (!thumbInfo_.IsWebAcceptable()) return "";
    outputType_ = kOriginalImage;
    SetOutOriginalImage();
    return outputName_;
  }
  if (optPS_ && (SetOutPixdeckEA() || SetOutPixdeckOldEA())) return outputName_;
  if (optFS_ && SetOutDocdeckEA()) return outputName_;
  if (isVideo_ && SetOutReeldeckEA()) return outputName_;
  if (optAvatar_ && SetOutAvatar()) return outputName_;
  if (SetOutFromEXIFPreview()) return outputName_;
  if (!optOnlyEA_ && SetOutOnline()) return outputName_;
  // Generation has left the type at kOriginalImage when the source needs no conversion.
  if ((!optNotOrig_ || outputType_ == kOriginalImage) && SetOutOriginalImage()) return outputName_;
  return "";
}

bool Thumb::IsIndexCheckPassed() {
  if (optNotCheckIndex_ || thumbInfo_.IsThumbShareIndexed()) return true;
  outputName_.clear();
  return false;
}

bool Thumb::SetOutEA(const std::string& name, OUTPUT_TYPE type,
                     const std::function<bool(const std::string&)>& is_usable) {
  outputName_ = file::GetEAPath(path_, name);
  if (outputName_.empty() || !is_usable(outputName_)) {
    outputName_.clear();
    return false;
  }
  outputType_ = type;
  return true;
}

bool Thumb::SetOutPixdeckEA() {
  return IsIndexCheckPassed() && SetOutEA(thumbInfo_.GetPixdeckThumbEAName(), kPixdeck, IsThere);
}

bool Thumb::SetOutPixdeckOldEA() {
  return IsIndexCheckPassed() && SetOutEA(thumbInfo_.GetPixdeckOldThumbEAName(), kPixdeck, IsThere);
}

bool Thumb::SetOutReeldeckEA() {
  return IsIndexCheckPassed() && SetOutEA(thumbInfo_.GetReeldeckThumbEAName(), kReeldeck, IsThere);
}

bool Thumb::SetOutDocdeckEA() {
  return SetOutEA(thumbInfo_.GetDocdeckThumbEAName(), kDocdeck, [this](const std::string& thumb) {
    return thumbInfo_.IsGood() && thumbInfo_.IsThumbUptoDate(thumb);
  });
}

bool Thumb::SetOutAvatar() {
  return SetOutEA(thumbInfo_.GetAvatarThumbEAName(), kDocdeck,
                  [this](const std::string& thumb) { return thumbInfo_.IsThumbUptoDate(thumb); });
}

bool Thumb::SetOutFromEXIFPreview() {
  if (!thumbInfo_.IsGood()) return false;
  const std::string tmp = thumbInfo_.GetEXIFPreviewTmpPath();
  const std::string ea = file::GetEAPath(path_, thumbInfo_.GetDocdeckThumbEAName());
  if (tmp.empty()) return false;
  if (!file::MakeEADir(path_)) {
    unlink(tmp.c_str());
    return false;
  }
  const bool upright = (TurnSumOf(thumbInfo_) & 3U) == 0;
  if (thumbInfo_.GetMimeType() == "image/jpeg" && upright) {
    if (!SaveTmpThumbToEA(tmp)) {
      syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("failed to save to EA"), kLogSource, __LINE__, __func__);
      return false;
    }
  } else if (!ConvertCmd(thumbInfo_, tmp, ea).exec()) {
    syslog(LOG_ERR,
           VEXATHUMB_LOG_FORMAT(
               "failed to rotate or convert tmp file to web accepatable img %s -> %s"),
           kLogSource, __LINE__, __func__, tmp.c_str(), ea.c_str());
    unlink(tmp.c_str());
    return false;
  }
  outputName_ = ea;
  outputType_ = kDocdeck;
  unlink(tmp.c_str());
  return true;
}

bool Thumb::SetOutOriginalImage() {
  outputName_ = path_;
  return true;
}

bool Thumb::OutputOriginalImage() {
  if (!thumbInfo_.IsWebAcceptable()) return false;
  outputName_ = path_;
  return HttpOutputFile(thumbInfo_.GetMimeType());
}

bool Thumb::HttpOutputFile(const std::string& mime) {
  puts("Cache-Control: max-age=300, must-revalidate\r");
  HttpFileResponder responder;
  // The photo-album application stores one thumbnail for all turns, so it is turned on its way out.
  if (outputType_ == kPixdeck && thumbInfo_.GetUserRotate() % 4 != 0) {
    JpegTranCmd turn(thumbInfo_, outputName_, "", true);
    return responder.Output(turn.popen(), LastComponent(outputName_).c_str(), mime.c_str()) == 0;
  }
  return responder.Output(outputName_.c_str(), mime.c_str()) == 0;
}

}  // namespace vexathumb
