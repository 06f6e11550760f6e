#include "service/build/avatar.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "service/base/atomic_file.h"
#include "service/picture/inspection.h"
#include "service/store/store_files.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

bool Covers(const ThumbDimension& picture, const ThumbDimension& box) {
  return picture.width_ >= box.width_ && picture.height_ >= box.height_;
}

ThumbDimension SmallerOf(const ThumbDimension& one, const ThumbDimension& other) {
  return {std::min(one.width_, other.width_), std::min(one.height_, other.height_)};
}

ThumbDimension AsDisplayed(const ThumbInfo& info, ThumbDimension stored) {
  const bool sideways = ((info.GetRotate() + info.GetUserRotate()) & 1) != 0;
  if (sideways) std::swap(stored.width_, stored.height_);
  return stored;
}

// Length `a` times `b` / `c`, without loss and rounded up. `c` is not 0.
uint32_t Scaled(uint32_t a, uint32_t b, uint32_t c) {
  return static_cast<uint32_t>((uint64_t{a} * b + c - 1) / c);
}

// The size of the whole source when it is scaled to just cover the box.
ThumbDimension SizeToCover(const ThumbDimension& source, const ThumbDimension& box) {
  const bool by_width =
      uint64_t{box.width_} * source.height_ >= uint64_t{box.height_} * source.width_;
  if (by_width) return {box.width_, Scaled(source.height_, box.width_, source.width_)};
  return {Scaled(source.width_, box.height_, source.height_), box.height_};
}

// Whether the source, fitted into a square of that side, covers the box; rounding and the decoder's
// own scales aside. True for a source of unknown size: only its picture will tell.
bool MayCover(uint32_t side, const ThumbDimension& source, const ThumbDimension& box) {
  if (source.width_ == 0 || source.height_ == 0) return side >= std::max(box.width_, box.height_);
  const ThumbDimension whole = SizeToCover(source, box);
  return side >= std::max(whole.width_, whole.height_);
}

// A picture on the disk, removed at the end when it is one to throw away.
class Ingredient {
 public:
  Ingredient(std::string path, Owner owner) : path_(std::move(path)), owner_(owner) {
    const InspectedSource picture(path_, false);
    // Nothing is scaled by it when it is not known.
    if (picture.inspection().result != InspectionResult::kRead) return;
    size_ = {picture.info().GetWidth(), picture.info().GetHeight()};
  }
  ~Ingredient() {
    if (owner_ == Owner::kCaller) unlink(path_.c_str());
  }
  Ingredient(const Ingredient&) = delete;
  Ingredient& operator=(const Ingredient&) = delete;

  const std::string& path() const { return path_; }
  const ThumbDimension& size() const { return size_; }

 private:
  std::string path_;
  Owner owner_;
  ThumbDimension size_ = {0, 0};
};

class AvatarBuilder {
 public:
  AvatarBuilder(const ThumbnailRequest& request, const ThumbInfo& info,
                const BuildFitted& build_fitted, const std::string& target)
      : request_(request),
        info_(info),
        build_fitted_(build_fitted),
        box_(AsDisplayed(info, info.GetTargetDimension())),
        source_size_(AsDisplayed(info, {info.GetWidth(), info.GetHeight()})),
        target_(target) {}

  bool Build() {
    for (const std::string& label : {kSmall, kMedium, kBig, kExtraLarge}) {
      if (!MayCover(Thumb::strThumbSizeMap_.at(label).width_, source_size_, box_)) continue;
      if (!TakeNamedSize(label)) return false;
      if (Covers(upright_->size(), box_)) return FillBox();
    }
    if (TakeScaledSource() || upright_ || TakeNamedSize(kExtraLarge)) return FillBox();
    return false;
  }

 private:
  // A named size is upright, and often stored already.
  bool TakeNamedSize(const std::string& label) {
    ThumbnailRequest fitted = request_;
    fitted.avatar = false;
    fitted.animated_gif = false;
    fitted.label = label;
    fitted.box = Thumb::strThumbSizeMap_.at(label);
    ThumbInfo info = info_;
    info.SetCropMode(false);
    info.SetEnableGIF(false);
    info.SetSize(fitted.label);
    info.SetDimension(fitted.box);
    const auto picture = build_fitted_(fitted, info);
    if (picture) upright_.emplace(picture->path, picture->owner);
    return picture.has_value();
  }

  // For boxes that no named size covers.
  bool TakeScaledSource() {
    if (source_size_.width_ == 0 || source_size_.height_ == 0) return false;
    ThumbInfo info = info_;
    info.SetCropMode(false);
    info.SetDimension(SizeToCover(source_size_, box_));
    const std::string scaled = TemporaryFor("/var/tmp/" + info_.GetAvatarThumbEAName());
    if (!ConvertCmd(info, request_.source, scaled).exec()) return false;
    upright_.emplace(scaled, Owner::kCaller);
    return true;
  }

  bool FillBox() {
    // No side becomes larger than the picture's.
    const bool known = upright_->size().width_ != 0 && upright_->size().height_ != 0;
    const ThumbDimension box = known ? SmallerOf(box_, upright_->size()) : box_;
    const std::string picture = upright_->path() + "[0]";
    const std::string size = std::to_string(box.width_) + "x" + std::to_string(box.height_);
    const std::string cover = size + "^";
    const std::string mime = info_.GetOutputMimeType();
    const std::string target = mime.substr(mime.find('/') + 1) + ":" + target_;
    // A small source may serve as it is; only its mirroring is still to be done then.
    const bool mirror = upright_->path() == request_.source && info_.GetFlop();
    std::vector<const char*> argv = {ThumbConvertCmd::kConvert.c_str(), picture.c_str(), "-strip"};
    if (mirror) argv.push_back("-flop");
    argv.insert(argv.end(), {"-thumbnail", cover.c_str(), "-gravity", "center", "-background",
                             "none", "-extent", size.c_str(), target.c_str(), nullptr});
    if (VLIBCExecv(argv[0], argv.data(), 1) == 0) return true;
    unlink(target_.c_str());
    return false;
  }

  const ThumbnailRequest& request_;
  const ThumbInfo& info_;
  const BuildFitted& build_fitted_;
  const ThumbDimension box_;          // as displayed, no side larger than the source's
  const ThumbDimension source_size_;  // as displayed; 0 x 0 when unknown
  const std::string& target_;
  std::optional<Ingredient> upright_;
};

}  // namespace

bool MakeAvatar(const ThumbnailRequest& request, const ThumbInfo& info,
                const BuildFitted& build_fitted, const std::string& path) {
  return AvatarBuilder(request, info, build_fitted, path).Build();
}

}  // namespace vexathumb::service
