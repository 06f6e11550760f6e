#include "service/avatar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "service/store_files.h"
#include "service/stored_thumbnail.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

ThumbDimension AsDisplayed(const ThumbInfo& info, ThumbDimension stored) {
  const bool sideways = ((info.GetRotate() + info.GetUserRotate()) & 1) != 0;
  if (sideways) std::swap(stored.width_, stored.height_);
  return stored;
}

// The smallest named size whose picture covers the box on both sides; the largest if none does.
std::string LabelCovering(const ThumbDimension& box, const ThumbDimension& source) {
  for (const std::string& label : {kSmall, kMedium, kBig, kExtraLarge}) {
    const double side = Thumb::strThumbSizeMap_.at(label).width_;
    const double scale = std::min(1.0, side / std::max(source.width_, source.height_));
    if (source.width_ * scale >= box.width_ && source.height_ * scale >= box.height_) return label;
  }
  return kExtraLarge;
}

bool FillBox(const std::string& picture, const ThumbDimension& box, const std::string& format,
             const std::string& filled) {
  const std::string source = picture + "[0]";
  const std::string size = std::to_string(box.width_) + "x" + std::to_string(box.height_);
  const std::string cover = size + "^";
  const std::string destination = format + ":" + filled;
  const char* const argv[] = {ThumbConvertCmd::kConvert.c_str(),
                              "-strip",
                              source.c_str(),
                              "-thumbnail",
                              cover.c_str(),
                              "-gravity",
                              "center",
                              "-background",
                              "none",
                              "-extent",
                              size.c_str(),
                              destination.c_str(),
                              nullptr};
  if (VLIBCExecv(argv[0], argv, 1) == 0) return true;
  unlink(filled.c_str());
  return false;
}

}  // namespace

std::optional<BuiltPicture> BuildAvatar(const ThumbnailRequest& request, const ThumbInfo& info,
                                        const BuildOptions& options) {
  // From a named size, which is upright, and often stored already.
  ThumbnailRequest fitted = request;
  fitted.avatar = false;
  const ThumbDimension box = AsDisplayed(info, info.GetTargetDimension());
  fitted.label = LabelCovering(box, AsDisplayed(info, {info.GetWidth(), info.GetHeight()}));
  fitted.box = Thumb::strThumbSizeMap_.at(fitted.label);
  fitted.pixdeck = false;
  fitted.docdeck = true;
  fitted.animated_gif = false;
  ThumbInfo fitted_info = Describe(fitted);
  fitted_info.ExtractImgInfo(false);

  BuiltPicture picture;
  if (const auto stored = FindStored(fitted, fitted_info)) {
    picture = {stored->path, stored->mime};
  } else if (const auto built = BuildThumbnail(fitted, fitted_info, options)) {
    picture = *built;
  } else {
    return std::nullopt;
  }

  const bool store_writable =
      file::IsDestSupportEAWrite(file::Dirname(request.source)) && file::MakeEADir(request.source);
  const std::string stored = BuiltPath(request, info);
  const std::string filled =
      store_writable ? TemporaryFor(stored) : file::GetVarTmpPath(info.GetAvatarThumbEAName());
  const std::string mime = info.GetOutputMimeType();
  const bool done = FillBox(picture.path, box, mime.substr(mime.find('/') + 1), filled);
  if (picture.throw_away) unlink(picture.path.c_str());
  if (!done) return std::nullopt;
  if (!store_writable) return BuiltPicture{filled, mime, true};

  info.UpdateAMTime(filled);
  if (rename(filled.c_str(), stored.c_str()) != 0) {
    unlink(filled.c_str());
    return std::nullopt;
  }
  return BuiltPicture{stored, mime};
}

}  // namespace vexathumb::service
