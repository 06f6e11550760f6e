#include "service/build/preview_thumbnail.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <system_error>

#include "posix/unique_fd.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "vexaplatform/whole_picture.h"

namespace vexathumb::service {
namespace {

// The library writes the preview to a file of its own, which its user removes, also when the
// inspection fails after that.
class InspectionWithPreview {
 public:
  // The very file of that version, whatever its name stands for by now.
  InspectionWithPreview(ThumbnailRequest request, const SourceVersion& version)
      : file_(open(request.source.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)),
        is_version_(version.IsOf(file_.get())) {
    request.source = "/proc/self/fd/" + std::to_string(file_.get());
    if (is_version_) info_.emplace(Describe(request));
  }
  ~InspectionWithPreview() {
    if (!preview().empty()) unlink(preview().c_str());
  }
  InspectionWithPreview(const InspectionWithPreview&) = delete;
  InspectionWithPreview& operator=(const InspectionWithPreview&) = delete;

  bool FindsPreview() {
    return info_ && Inspect(&*info_, WithPreview::kYes).result == InspectionResult::kRead &&
           !preview().empty();
  }

  std::string preview() const { return info_ ? info_->GetEXIFPreviewTmpPath() : ""; }
  const ThumbInfo& info() const { return *info_; }

 private:
  posix::UniqueFd file_;
  bool is_version_;
  std::optional<ThumbInfo> info_;
};

bool Copy(const std::string& from, const std::string& to) {
  std::error_code error;
  return std::filesystem::copy_file(from, to, error);
}

}  // namespace

bool MakeFromEmbeddedPreview(const ThumbnailRequest& request, const SourceVersion& version,
                             const std::string& path) {
  InspectionWithPreview inspection(request, version);
  if (!inspection.FindsPreview()) return false;
  // Of a file that was cut short the preview may be too.
  if (!vexaplatform::IsWholePicture(inspection.preview())) return false;
  const ThumbInfo& info = inspection.info();
  const bool as_it_is = IsUpright(info) && info.GetMimeType() == kJpegType &&
                        ContentTypeOf(inspection.preview()) == kJpegType;
  if (as_it_is && Copy(inspection.preview(), path)) return true;
  if (!as_it_is && ConvertCmd(info, inspection.preview(), path).exec()) return true;
  unlink(path.c_str());
  return false;
}

}  // namespace vexathumb::service
