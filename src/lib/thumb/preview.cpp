#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "common/util/log_format.h"
#include "thumb/container_orientation.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "thumb_info.cpp";

// A preview with a smaller share of the box's pixels than this is not worth using.
constexpr double kMinAreaRatio = 0.75;

// Areas and doubled sides are 32-bit and wrap on purpose: with the "no limit" box the box's area
// wraps to 1, so that the largest preview passes.
uint32_t Area(uint32_t width, uint32_t height) { return width * height; }

uint32_t Area(const Exiv2::PreviewProperties& preview) {
  return Area(static_cast<uint32_t>(preview.width_), static_cast<uint32_t>(preview.height_));
}

bool IsCandidate(const Exiv2::PreviewProperties& preview, const std::string& source_mime,
                 const ThumbDimension& box) {
  // The TIFF previews of this raw format are undeveloped.
  if (preview.mimeType_ == "image/tiff" && source_mime == "image/x-canon-cr2") return false;
  const bool far_too_big = preview.width_ > 2 * box.width_ && preview.height_ > 2 * box.height_;
  return !far_too_big;
}

// The largest candidate, the earlier of equals; null when there is none or it is too small.
const Exiv2::PreviewProperties* ChoosePreview(const Exiv2::PreviewPropertiesList& previews,
                                              const std::string& source_mime,
                                              const ThumbDimension& box) {
  const Exiv2::PreviewProperties* chosen = nullptr;
  for (const Exiv2::PreviewProperties& preview : previews) {
    if (!IsCandidate(preview, source_mime, box)) continue;
    if (chosen == nullptr || Area(preview) > Area(*chosen)) chosen = &preview;
  }
  if (chosen == nullptr || Area(*chosen) < kMinAreaRatio * Area(box.width_, box.height_)) {
    return nullptr;
  }
  return chosen;
}

}  // namespace

void ThumbInfo::ExtractEXIFPreviewInfo(const Exiv2ImagePtr& image) {
  const Exiv2::PreviewManager manager(*image);
  const Exiv2::PreviewPropertiesList previews =
      IsTurnedByDecoder(mime_) ? Exiv2::PreviewPropertiesList() : manager.getPreviewProperties();
  const Exiv2::PreviewProperties* chosen = ChoosePreview(previews, mime_, dimension_);
  if (chosen == nullptr) {
    exif_preview_path_.clear();
    return;
  }

  const Exiv2::PreviewImage preview = manager.getPreviewImage(*chosen);
  exif_preview_path_ = "/tmp/thumb." + std::to_string(getpid()) + "." +
                       std::to_string(time(nullptr)) + "." + std::to_string(rand());
  // Exiv2 adds the preview's extension to the name that it writes.
  const auto written = preview.writeFile(exif_preview_path_);
  if (static_cast<uint64_t>(written) == preview.size()) {
    exif_preview_path_ += preview.extension();
    UpdateAMTime(exif_preview_path_);
    return;
  }
  unlink(exif_preview_path_.c_str());
  exif_preview_path_.clear();
  syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("Write preview to file failed, %s"), kLogSource, __LINE__,
         __func__, path_.c_str());
}

}  // namespace vexathumb
