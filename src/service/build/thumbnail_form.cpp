#include "service/build/thumbnail_form.h"

#include <unistd.h>

#include <cstdio>

#include "service/build/reencoding.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
bool FitIntoBox(const ThumbnailRequest& request, const std::string& picture) {
  ThumbnailRequest of_picture = request;
  of_picture.source = picture;
  ThumbInfo info = Describe(of_picture);
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
  // The preview of a raw file of which only dcraw knows what it is comes as it is: large, and not
  // turned.
  if (!info.IsGood() && !FitIntoBox(request, picture->path)) return false;
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

}  // namespace vexathumb::service
