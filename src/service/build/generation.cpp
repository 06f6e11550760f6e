#include "service/build/generation.h"

#include <unistd.h>

#include <cstdio>

#include "service/build/thumbnail_form.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

std::optional<BuiltPicture> GenerateInLibrary(const ThumbnailRequest& request,
                                              const ThumbInfo& info) {
  Thumb thumb(request.source, OptionsOf(request));
  thumb.Rotate(request.turns);
  thumb.CalcOutputFile(kOriginal);  // inspects the source, which conversion itself does not
  const int built =
      request.IsFreeBox() ? thumb.Convert({request.box}) : thumb.Convert({request.label});
  if (built == 0) {
    if (thumb.GetOutputType() != "Original" || info.IsNeedConvert()) return std::nullopt;
    return BuiltPicture{request.source, info.GetMimeType()};
  }
  return BuiltPicture{thumb.GetOutputFile(), info.GetOutputMimeType(),
                      thumb.GetOutputType() == "DocdeckVarTmp" || thumb.IsNeedDelete()};
}

bool RunCommands(const ThumbInfo& info, const std::string& source, const std::string& target) {
  if (!info.IsGood()) return false;
  if (info.GetOutputMimeType() == kGifType && GIFConvertCmd(info, source, target).exec()) {
    return true;
  }
  if (info.GetMimeType() == kJpegType && DJpegCmd(info, source, target).exec()) return true;
  return ConvertCmd(info, source, target).exec();
}

// The library insists on the store where the volume can hold one, though it may be full or closed
// to this user. Raw files need it even for their previews.
std::optional<BuiltPicture> GenerateOutsideStore(const ThumbnailRequest& request,
                                                 const ThumbInfo& info) {
  const std::string target = file::GetVarTmpPath(info.GetDocdeckTmpThumbEAName());
  if (!RunCommands(info, request.source, target)) {
    unlink(target.c_str());
    return std::nullopt;
  }
  return BuiltPicture{target, info.GetOutputMimeType(), true};
}

}  // namespace

std::optional<BuiltPicture> GenerateThumbnail(const ThumbnailRequest& request,
                                              const ThumbInfo& info, const BuildOptions& options) {
  auto picture = GenerateInLibrary(request, info);
  if (!picture && file::IsDestSupportEAWrite(file::Dirname(request.source)) &&
      !HasStoreRoom(request.source)) {
    picture = GenerateOutsideStore(request, info);
  }
  if (!picture || picture->path == request.source) return picture;
  if (BringIntoForm(request, info, options, &*picture)) return picture;
  unlink(picture->path.c_str());
  return std::nullopt;
}

}  // namespace vexathumb::service
