#include "service/build/stored_thumbnail.h"

#include <sys/stat.h>

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

std::optional<Thumbnail> FindStored(const ThumbnailRequest& request, const ThumbInfo& info) {
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

std::optional<Thumbnail> FindBuilt(const ThumbnailRequest& request, const ThumbInfo& info) {
  const std::string path = BuiltPath(request, info);
  const auto type = TypeOfStored(path);
  if (!type || !info.IsThumbUptoDate(path)) return std::nullopt;
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

bool IsCurrentEntry(const std::string& stored, time_t source_modified) {
  struct stat st = {};
  return !stored.empty() && lstat(stored.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         st.st_size > 0 && st.st_mtime == source_modified;
}

std::string BuiltPath(const ThumbnailRequest& request, const ThumbInfo& info) {
  return file::GetEAPath(
      request.source, request.avatar ? info.GetAvatarThumbEAName() : info.GetDocdeckThumbEAName());
}

}  // namespace vexathumb::service
