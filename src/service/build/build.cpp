#include "service/build/build.h"

#include <unistd.h>

#include <cstdio>

#include "service/build/avatar.h"
#include "service/build/generation.h"
#include "service/build/reencoding.h"
#include "service/build/stored_preview.h"
#include "service/build/stored_thumbnail.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

std::optional<BuiltPicture> TakeStored(const ThumbnailRequest& request, const ThumbInfo& info,
                                       const BuildOptions& options) {
  const auto stored = IsVideo(request) ? std::nullopt : FindBuilt(request, info);
  if (!stored) return std::nullopt;
  if (!stored->bmp_data || !options.compaction) return BuiltPicture{stored->path, stored->mime};
  if (!Compact(stored->path, options.quality)) return std::nullopt;
  return BuiltPicture{stored->path, info.GetOutputMimeType()};
}

std::optional<BuiltPicture> Make(const ThumbnailRequest& request, const ThumbInfo& info,
                                 const BuildOptions& options) {
  if (request.avatar) return BuildAvatar(request, info, options);
  if (auto preview = StoreEmbeddedPreview(request)) return preview;
  return GenerateThumbnail(request, info, options);
}

// Others would take it for a stored thumbnail otherwise, and find it gone.
void TakeOutOfStore(const std::string& store, BuiltPicture* picture) {
  const std::string own_name = TemporaryFor(picture->path);
  if (file::Dirname(picture->path) == store &&
      rename(picture->path.c_str(), own_name.c_str()) == 0) {
    picture->path = own_name;
  }
}

}  // namespace

std::optional<BuiltPicture> BuildThumbnail(const ThumbnailRequest& request, const ThumbInfo& info,
                                           const BuildOptions& options) {
  if (auto stored = TakeStored(request, info, options)) return stored;
  SweepStoreDirectory(request.source);
  const bool enough_boxes = (request.IsFreeBox() || request.avatar) &&
                            CountFreeBoxes(request.source) >= options.free_boxes;
  auto picture = Make(request, info, options);
  if (!picture || picture->path == request.source) return picture;
  picture->throw_away = picture->throw_away || enough_boxes;
  if (picture->throw_away) TakeOutOfStore(StoreDirectoryOf(request.source), &*picture);
  return picture;
}

}  // namespace vexathumb::service
