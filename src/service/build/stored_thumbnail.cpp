#include "service/build/stored_thumbnail.h"

#include "service/base/stat_cache.h"
#include "service/picture/content_type.h"
#include "service/store/current_entry.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

// The type of a stored picture's content, read once; nothing when the file is no picture that could
// be sent, whatever its name.
std::optional<std::string> TypeOfStored(const std::string& path, const struct stat& status) {
  static StatCache<std::string> cache;
  auto type = cache.Get(path, status);
  if (!type && (type = ContentTypeOf(path))) cache.Put(path, status, *type);
  return type && !type->empty() ? type : std::nullopt;
}

std::optional<std::string> TypeOfStored(const std::string& path) {
  const auto status = StatusOfStoredFile(path);
  return status ? TypeOfStored(path, *status) : std::nullopt;
}

Thumbnail FoundAt(const std::string& path, const std::string& mime, const char* from) {
  Thumbnail found;
  found.path = path;
  found.mime = mime;
  found.from = from;
  return found;
}

// Stored once for all turns, turned losslessly on its way out; only a JPEG can be.
std::optional<Thumbnail> FindOfPhotoAlbum(const ThumbnailRequest& request, const ThumbInfo& info) {
  const int turns = info.GetUserRotate() % 4;
  for (const std::string& name : {info.GetPixdeckThumbEAName(), info.GetPixdeckOldThumbEAName()}) {
    const std::string path = file::GetEAPath(request.source, name);
    const auto type = TypeOfStored(path);
    if (type && (turns == 0 || type == kJpegType)) {
      Thumbnail found = FoundAt(path, info.GetOutputMimeType(), kFromPixdeck);
      found.turns_to_come = turns;
      return found;
    }
  }
  return std::nullopt;
}

std::optional<Thumbnail> FindScreenshot(const ThumbnailRequest& request, const ThumbInfo& info) {
  const std::string path = file::GetEAPath(request.source, info.GetReeldeckThumbEAName());
  if (!TypeOfStored(path)) return std::nullopt;
  return FoundAt(path, kJpegType, kFromReeldeck);
}

}  // namespace

std::optional<Thumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info,
                                    const struct stat& source) {
  if (request.avatar) return FindBuilt(request, info, source);
  // The photo-album and video applications keep their files current, so being there is enough.
  if (request.any_share || info.IsThumbShareIndexed()) {
    if (request.pixdeck && !request.IsFreeBox()) {
      if (auto found = FindOfPhotoAlbum(request, info)) return found;
    }
    if (IsVideo(request)) {
      if (auto found = FindScreenshot(request, info)) return found;
    }
  }
  return request.docdeck && !IsVideo(request) ? FindBuilt(request, info, source) : std::nullopt;
}

std::optional<Thumbnail> FindBuilt(const ThumbnailRequest& request, const ThumbInfo& info,
                                   const struct stat& source) {
  const std::string path = BuiltPath(request, info);
  const auto status = StatusOfStoredFile(path);
  if (!status || !IsMadeOf(path, *status, source)) return std::nullopt;
  const auto type = TypeOfStored(path, *status);
  if (!type) return std::nullopt;
  const bool bmp_data = type == kBmpType;
  Thumbnail found = FoundAt(path, bmp_data ? kBmpType : info.GetOutputMimeType(), kFromDocdeck);
  found.bmp_data = bmp_data;
  return found;
}

std::string MimeOfSource(const ThumbInfo& info) {
  // Exiv2's name for it is none that browsers know.
  return info.GetMimeType() == "image/x-ms-bmp" ? kBmpType : info.GetMimeType();
}

Thumbnail SourceItself(const ThumbnailRequest& request, const ThumbInfo& info) {
  Thumbnail source = FoundAt(request.source, MimeOfSource(info), kFromOriginal);
  source.owner = Owner::kSource;
  return source;
}

std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info) {
  return file::GetEAPath(
      request.source, request.avatar ? info.GetAvatarThumbEAName() : info.GetDocdeckThumbEAName());
}

}  // namespace vexathumb::service
