#include "service/generation.h"

#include <unistd.h>

#include <cstdio>

#include "service/content_type.h"
#include "service/reencoding.h"
#include "service/store_files.h"

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

// The preview of a raw file of which only dcraw knows what it is comes as it is: large, and not
// turned.
bool FitRawPreview(const ThumbnailRequest& request, const std::string& picture) {
  ThumbnailRequest of_preview = request;
  of_preview.source = picture;
  ThumbInfo info = Describe(of_preview);
  info.ExtractImgInfo(false);
  if (!info.IsNeedConvert()) return true;
  const std::string fitted = TemporaryFor(picture);
  if (!ConvertCmd(info, picture, fitted).exec()) return false;
  if (rename(fitted.c_str(), picture.c_str()) == 0) return true;
  unlink(fitted.c_str());
  return false;
}

bool BringIntoForm(const ThumbnailRequest& request, const ThumbInfo& info,
                   const BuildOptions& options, BuiltPicture* picture) {
  if (!info.IsGood() && !FitRawPreview(request, picture->path)) return false;
  const bool bmp_data = ContentTypeOf(picture->path) == kBmpType;
  // Browsers show BMP data too, so those may stay where neither tool re-encodes them.
  const bool compacted =
      bmp_data && options.compaction &&
      (Compact(picture->path, options.quality) || Reencode(picture->path, picture->mime));
  if (bmp_data && !compacted) {
    picture->mime = kBmpType;
  } else if (ContentTypeOf(picture->path) != picture->mime &&
             !Reencode(picture->path, picture->mime)) {
    return false;
  }
  // The library calls pictures throw-away because of their size as BMP data.
  const bool in_store = file::Dirname(picture->path) == StoreDirectoryOf(request.source);
  if (in_store && picture->mime != kBmpType) picture->throw_away = false;
  // The library leaves some results with another time than the source's.
  if (!info.IsThumbUptoDate(picture->path)) info.UpdateAMTime(picture->path);
  return true;
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
