#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "common/util/log_format.h"
#include "thumb/container_orientation.h"
#include "thumb/preview_choice.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "thumb_info.cpp";

PreviewFacts FactsOf(const Exiv2::PreviewProperties& preview) {
  return {preview.mimeType_, preview.width_, preview.height_};
}

}  // namespace

void ThumbInfo::ExtractEXIFPreviewInfo(const Exiv2ImagePtr& image) {
  const Exiv2::PreviewManager manager(*image);
  const Exiv2::PreviewPropertiesList previews =
      IsTurnedByDecoder(mime_) ? Exiv2::PreviewPropertiesList() : manager.getPreviewProperties();
  const Exiv2::PreviewProperties* chosen =
      ChoosePreview(previews, FactsOf, mime_, dimension_.width_, dimension_.height_);
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
