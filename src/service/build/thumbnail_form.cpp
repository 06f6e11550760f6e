#include "service/build/thumbnail_form.h"

#include "service/base/atomic_file.h"
#include "service/build/reencoding.h"
#include "service/build/rendering.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "service/store/store_files.h"

namespace vexathumb::service {

bool FitIntoBox(const ThumbnailRequest& request, const std::string& picture) {
  ThumbnailRequest of_picture = request;
  of_picture.source = picture;
  ThumbInfo info = Describe(of_picture);
  if (!Inspect(&info).IsUsable()) return false;
  if (!info.IsNeedConvert()) return true;
  if (FitByRenderer(info, request.box, picture, picture)) return true;
  AtomicFile fitted(picture);
  return ConvertCmd(info, picture, fitted.path()).exec() && fitted.Commit();
}

std::optional<std::string> BringIntoForm(const ThumbnailRequest& request, const ThumbInfo& info,
                                         const BuildOptions& options, const std::string& picture) {
  // The preview of a raw file of which only dcraw knows what it is comes as it is: large, and not
  // turned.
  if (!info.IsGood() && !FitIntoBox(request, picture)) return std::nullopt;
  std::string promised = info.GetOutputMimeType();
  if (ContentTypeOf(picture) == kBmpType) {
    const bool is_compacted =
        options.compaction && (Compact(picture, options.quality) || Reencode(picture, promised));
    // Browsers show BMP data too, so those may stay where neither tool re-encodes them.
    return is_compacted ? promised : kBmpType;
  }
  if (ContentTypeOf(picture) == promised || Reencode(picture, promised)) return promised;
  return std::nullopt;
}

}  // namespace vexathumb::service
