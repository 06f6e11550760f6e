#include "service/stored_thumbnail.h"

#include <unistd.h>

#include "service/content_type.h"
#include "service/store_files.h"

namespace vexathumb::service {
namespace {

bool IsReadable(const std::string& path) {
  return IsStoredFile(path) && access(path.c_str(), R_OK) == 0;
}

// Stored once for all turns, turned losslessly on its way out; only a JPEG can be.
std::optional<StoredThumbnail> FindOfPhotoAlbum(const ThumbnailRequest& request,
                                                const ThumbInfo& info) {
  const bool turned = info.GetUserRotate() % 4 != 0;
  for (const std::string& name : {info.GetPixdeckThumbEAName(), info.GetPixdeckOldThumbEAName()}) {
    const std::string path = file::GetEAPath(request.source, name);
    if (IsReadable(path) && (!turned || ContentTypeOf(path) == kJpegType)) {
      return StoredThumbnail{path, info.GetOutputMimeType(), turned};
    }
  }
  return std::nullopt;
}

std::optional<StoredThumbnail> FindScreenshot(const ThumbnailRequest& request,
                                              const ThumbInfo& info) {
  const std::string path = file::GetEAPath(request.source, info.GetReeldeckThumbEAName());
  if (!IsReadable(path)) return std::nullopt;
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
  if (!IsReadable(path) || !info.IsThumbUptoDate(path)) return std::nullopt;
  const bool bmp_data = ContentTypeOf(path) == kBmpType;
  return StoredThumbnail{path, bmp_data ? kBmpType : info.GetOutputMimeType(), false, bmp_data};
}

std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info) {
  return file::GetEAPath(
      request.source, request.avatar ? info.GetAvatarThumbEAName() : info.GetDocdeckThumbEAName());
}

}  // namespace vexathumb::service
