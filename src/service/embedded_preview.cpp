#include "service/embedded_preview.h"

#include <unistd.h>

#include <cstdio>

#include "service/store_files.h"
#include "service/stored_thumbnail.h"
#include "vexa/copy.h"

namespace vexathumb::service {
namespace {

// The library writes the preview to a file of its own, which its user removes.
class PreviewFile {
 public:
  explicit PreviewFile(std::string path) : path_(std::move(path)) {}
  ~PreviewFile() {
    if (!path_.empty()) unlink(path_.c_str());
  }
  PreviewFile(const PreviewFile&) = delete;
  PreviewFile& operator=(const PreviewFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

bool Copy(const std::string& from, const std::string& to) {
  VEXACOPYARGS args = {};
  args.blOverWrite = TRUE;
  return VEXAFileCopy(from.c_str(), to.c_str(), &args) == 0;
}

bool Convert(const ThumbInfo& info, const std::string& from, const std::string& to) {
  const std::string temporary = TemporaryFor(to);
  if (!ConvertCmd(info, from, temporary).exec()) return false;
  info.UpdateAMTime(temporary);
  if (rename(temporary.c_str(), to.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

}  // namespace

std::optional<BuiltPicture> StoreEmbeddedPreview(const ThumbnailRequest& request) {
  ThumbInfo info = Describe(request);
  try {
    info.ExtractImgInfo(true);
  } catch (const Error&) {
    const PreviewFile half_made(info.GetEXIFPreviewTmpPath());
    return std::nullopt;
  }
  const PreviewFile preview(info.GetEXIFPreviewTmpPath());
  if (preview.path().empty() || !file::IsDestSupportEAWrite(file::Dirname(request.source)) ||
      !file::MakeEADir(request.source)) {
    return std::nullopt;
  }
  const bool as_it_is =
      info.GetMimeType() == "image/jpeg" && (info.GetRotate() + info.GetUserRotate()) % 4 == 0;
  const std::string stored = BuiltPath(request, info);
  const bool done = as_it_is ? Copy(preview.path(), stored) : Convert(info, preview.path(), stored);
  if (!done) return std::nullopt;
  return BuiltPicture{stored, info.GetOutputMimeType()};
}

}  // namespace vexathumb::service
