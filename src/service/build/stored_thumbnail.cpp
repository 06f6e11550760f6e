#include "service/build/stored_thumbnail.h"

#include "service/base/stat_cache.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

// The type of a stored file's content, read once; nothing when there is no such file, or when it
// cannot be read.
std::optional<std::string> TypeOfStored(const std::string& path) {
  static StatCache<std::string> cache;
  const auto status = StatusOfStoredFile(path);
  if (!status) return std::nullopt;
  auto type = cache.Get(path, *status);
  if (!type && (type = ContentTypeOf(path))) cache.Put(path, *status, *type);
  return type;
}

// Stored once for all turns, turned losslessly on its way out; only a JPEG can be.
std::optional<StoredThumbnail> FindOfPhotoAlbum(const ThumbnailRequest& request,
                                                const ThumbInfo& info) {
  const bool turned = info.GetUserRotate() % 4 != 0;
  for (const std::string& name : {info.GetPixdeckThumbEAName(), info.GetPixdeckOldThumbEAName()}) {
    const std::string path = file::GetEAPath(request.source, name);
    const auto type = TypeOfStored(path);
    if (type && (!turned || type == kJpegType)) {
      return StoredThumbnail{path, info.GetOutputMimeType(), turned};
    }
  }
  return std::nullopt;
}

std::optional<StoredThumbnail> FindScreenshot(const ThumbnailRequest& request,
                                              const ThumbInfo& info) {
  const std::string path = file::GetEAPath(request.source, info.GetReeldeckThumbEAName());
  if (!TypeOfStored(path)) return std::nullopt;
  return StoredThumbnail{path, kJpegType};
}

}  // namespace

std::optional<StoredThumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info) {
  if (request.avatar) return FindBuilt(request, info);
  // The photo-album and video applications keep their files current, so being there is enough.
  if (request.any_share || info.IsThumbShareIndexed()) {
    if (request.pixdeck && !request.IsFreeBox()) {
      if (auto found = FindOfPhotoAlbum(request, info)) return found;
    }
    if (IsVideo(request)) {
      if (auto found = FindScreenshot(request, info)) return found;
    }
  }
  return request.docdeck && !IsVideo(request) ? FindBuilt(request, info) : std::nullopt;
}

std::optional<StoredThumbnail> FindBuilt(const ThumbnailRequest& request, const ThumbInfo& info) {
  const std::string path = BuiltPath(request, info);
  const auto type = TypeOfStored(path);
  if (!type || !info.IsThumbUptoDate(path)) return std::nullopt;
  const bool bmp_data = type == kBmpType;
  return StoredThumbnail{path, bmp_data ? kBmpType : info.GetOutputMimeType(), false, bmp_data};
}

std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info) {
  return file::GetEAPath(
      request.source, request.avatar ? info.GetAvatarThumbEAName() : info.GetDocdeckThumbEAName());
}

}  // namespace vexathumb::service
