#include "service/stored_thumbnail.h"

#include <unistd.h>

#include "service/bmp_data.h"

namespace vexathumb::service {
namespace {

bool Exists(const std::string& path) { return !path.empty() && access(path.c_str(), R_OK) == 0; }

// The photo-album and video applications keep their own files current, so being there is enough.
std::optional<StoredThumbnail> FindOtherApplications(const ThumbnailRequest& request,
                                                     const ThumbInfo& info, bool video) {
  if (!request.any_share && !info.IsThumbShareIndexed()) return std::nullopt;
  if (request.pixdeck && !request.IsFreeBox()) {
    for (const std::string& name :
         {info.GetPixdeckThumbEAName(), info.GetPixdeckOldThumbEAName()}) {
      const std::string path = file::GetEAPath(request.source, name);
      if (Exists(path)) {
        return StoredThumbnail{path, info.GetOutputMimeType(), info.GetUserRotate() % 4 != 0};
      }
    }
  }
  if (video) {
    const std::string path = file::GetEAPath(request.source, info.GetReeldeckThumbEAName());
    if (Exists(path)) return StoredThumbnail{path, "image/jpeg"};
  }
  return std::nullopt;
}

}  // namespace

std::optional<StoredThumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info) {
  const bool video = IsSupportVideo(request.source.substr(request.source.rfind('/') + 1));
  if (!request.avatar) {
    if (auto other = FindOtherApplications(request, info, video)) return other;
    if (!request.docdeck || !info.IsGood()) return std::nullopt;
  }
  const std::string path = BuiltPath(request, info);
  if (path.empty() || !info.IsThumbUptoDate(path) || HoldsBmpData(path)) return std::nullopt;
  return StoredThumbnail{path, info.GetOutputMimeType()};
}

std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info) {
  return file::GetEAPath(
      request.source, request.avatar ? info.GetAvatarThumbEAName() : info.GetDocdeckThumbEAName());
}

}  // namespace vexathumb::service
