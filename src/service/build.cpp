#include "service/build.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "service/avatar.h"
#include "service/compaction.h"
#include "service/embedded_preview.h"
#include "service/store_files.h"
#include "service/stored_thumbnail.h"

namespace vexathumb::service {
namespace {

// The library's on-line generation. It leaves some results with another time than the source's.
std::optional<BuiltPicture> GenerateOnline(const ThumbnailRequest& request, const ThumbInfo& info,
                                           const BuildOptions& options) {
  Thumb thumb(request.source, OptionsOf(request));
  thumb.Rotate(request.turns);
  thumb.CalcOutputFile(kOriginal);  // inspects the source, which conversion itself does not
  const int built =
      request.IsFreeBox() ? thumb.Convert({request.box}) : thumb.Convert({request.label});
  if (built == 0) {
    if (thumb.GetOutputType() != "Original" || info.IsNeedConvert()) return std::nullopt;
    return BuiltPicture{request.source, info.GetMimeType()};
  }

  BuiltPicture picture{thumb.GetOutputFile(), info.GetOutputMimeType()};
  if (!info.IsThumbUptoDate(picture.path)) info.UpdateAMTime(picture.path);
  const bool compact = options.compaction && Compact(picture.path, options.quality);
  picture.throw_away =
      thumb.GetOutputType() == "DocdeckVarTmp" || (thumb.IsNeedDelete() && !compact);
  return picture;
}

}  // namespace

std::optional<BuiltPicture> BuildThumbnail(const ThumbnailRequest& request, const ThumbInfo& info,
                                           const BuildOptions& options) {
  SweepStoreDirectory(request.source);
  const bool enough_boxes = (request.IsFreeBox() || request.avatar) &&
                            CountFreeBoxes(request.source) >= options.free_boxes;
  auto picture =
      request.avatar ? BuildAvatar(request, info, options) : StoreEmbeddedPreview(request);
  if (!picture && !request.avatar) picture = GenerateOnline(request, info, options);
  if (picture && picture->path != request.source && enough_boxes) picture->throw_away = true;
  return picture;
}

}  // namespace vexathumb::service
