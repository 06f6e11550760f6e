#include <unistd.h>

#include "thumb/libvexathumb.h"
#include "thumb/path_name.h"

namespace vexathumb {
namespace {

constexpr uint32_t kNoLimit = 0x7FFFFFFF;

}  // namespace

const std::map<std::string, ThumbDimension> Thumb::strThumbSizeMap_ = {
    {kSmall, {120, 120}},   {kMedium, {360, 360}},       {kBig, {640, 640}},
    {kLarge, {1280, 1280}}, {kExtraLarge, {1280, 1280}}, {kOriginal, {kNoLimit, kNoLimit}},
};

const std::vector<std::string> Thumb::size_vec = {kOriginal, kExtraLarge, kLarge,
                                                  kBig,      kMedium,     kSmall};

Thumb::Thumb(const std::string& path, int options)
    : path_(path),
      isVideo_(IsSupportVideo(LastComponent(path))),
      thumbInfo_(path, kOriginal, ThumbDimension(kNoLimit, kNoLimit)) {
  SetOption(options);
}

Thumb::~Thumb() {
  const std::string preview = thumbInfo_.GetEXIFPreviewTmpPath();
  if (!preview.empty()) unlink(preview.c_str());
}

Thumb& Thumb::Rotate(int rotate) {
  thumbInfo_.SetUserRotate(rotate);
  return *this;
}

void Thumb::SetOption(int options) {
  const auto has = [options](OPTION bit) { return (options & bit) != 0; };
  optOnlyEA_ = has(EA_ONLY) || isVideo_;
  optAllowGIF_ = has(ANIMATE_GIF);
  thumbInfo_.SetEnableGIF(optAllowGIF_);
  // Whether the source itself may be sent is a matter of the output type, not of NO_ORIG_IMAGE.
  optNotOrig_ = true;
  optAvatar_ = has(AVATAR);
  thumbInfo_.SetCropMode(optAvatar_);
  optFS_ = has(DOCDECK_EA) && !has(AVATAR);
  optPS_ = has(PIXDECK_EA) && !has(AVATAR);
  optFallback_ = has(FALLBACK_SMALLER);
  optNotCheckIndex_ = has(NOT_CHECK_INDEX);
}

std::string Thumb::GetOutputType() {
  switch (outputType_) {
    case kPixdeck:
      return "Pixdeck";
    case kDocdeck:
      return "Docdeck";
    case kDocdeckVarTmp:
      return "DocdeckVarTmp";
    case kReeldeck:
      return "Reeldeck";
    case kOriginalImage:
      return "Original";
    default:
      return "";
  }
}

}  // namespace vexathumb
