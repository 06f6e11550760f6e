#include "service/build/preview_thumbnail.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <system_error>

#include "posix/unique_fd.h"
#include "service/build/rendering.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "service/picture/picture_renderer.h"
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

// `convert` has fitted a small preview while the renderer is still being started.
bool IsFittedSooner(const std::string& preview) {
  constexpr uintmax_t kSmallBytes = 65'536;
  render::Renderer* const renderer = PictureRenderer();
  std::error_code error;
  return renderer != nullptr && !renderer->IsStarted() &&
         std::filesystem::file_size(preview, error) <= kSmallBytes;
}

bool Fit(const ThumbInfo& info, const ThumbDimension& box, const std::string& preview,
         const std::string& path) {
  if (!IsFittedSooner(preview) && FitByRenderer(info, box, preview, path)) return true;
  return ConvertCmd(info, preview, path).exec();
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
  if (!as_it_is && Fit(info, request.box, inspection.preview(), path)) return true;
  unlink(path.c_str());
  return false;
}

}  // namespace vexathumb::service
