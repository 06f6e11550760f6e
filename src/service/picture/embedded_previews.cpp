#include "service/picture/embedded_previews.h"

#include <mutex>
#include <stdexcept>

#include "thumb/container_orientation.h"

namespace vexathumb::service {
namespace {

// 32-bit and wrapping, as the library multiplies.
uint32_t Area(uint32_t width, uint32_t height) { return width * height; }

}  // namespace

std::vector<EmbeddedPreview> ListEmbeddedPreviews(const InspectedSource& source) {
  std::vector<EmbeddedPreview> previews;
  // Exiv2 chooses its parser by content, and some of them crash: only what the library's own
  // inspection has let through is opened.
  if (!source.info().IsGood() || IsTurnedByDecoder(source.info().GetMimeType())) return previews;
  const std::lock_guard<std::mutex> lock(ThumbInfo::exiv2_mutex_);
  try {
    const Exiv2ImagePtr image = Exiv2::ImageFactory::open(source.path());
    image->readMetadata();
    for (const auto& found : Exiv2::PreviewManager(*image).getPreviewProperties()) {
      previews.push_back({found.mimeType_, static_cast<uint32_t>(found.width_),
                          static_cast<uint32_t>(found.height_), found.size_});
    }
  } catch (const Exiv2Error&) {
    previews.clear();
  } catch (const std::overflow_error&) {  // an offset and a size that no file has
    previews.clear();
  }
  return previews;
}

std::optional<EmbeddedPreview> PreviewFor(const ThumbInfo& request,
                                          const std::vector<EmbeddedPreview>& previews) {
  const ThumbDimension box = request.GetDimension();
  const EmbeddedPreview* largest = nullptr;
  for (const EmbeddedPreview& preview : previews) {
    const bool is_undeveloped =
        preview.mime == "image/tiff" && request.GetMimeType() == "image/x-canon-cr2";
    const bool is_far_too_big = preview.width > 2 * box.width_ && preview.height > 2 * box.height_;
    if (is_undeveloped || is_far_too_big) continue;
    if (largest == nullptr ||
        Area(preview.width, preview.height) > Area(largest->width, largest->height)) {
      largest = &preview;
    }
  }
  constexpr double kMinAreaRatio = 0.75;
  if (largest == nullptr ||
      Area(largest->width, largest->height) < kMinAreaRatio * Area(box.width_, box.height_)) {
    return std::nullopt;
  }
  return *largest;
}

}  // namespace vexathumb::service
