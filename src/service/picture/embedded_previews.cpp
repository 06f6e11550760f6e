#include "service/picture/embedded_previews.h"

#include <mutex>
#include <stdexcept>

#include "thumb/container_orientation.h"
#include "thumb/preview_choice.h"

namespace vexathumb::service {
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
  const auto facts_of = [](const EmbeddedPreview& preview) {
    return PreviewFacts{preview.mime, preview.width, preview.height};
  };
  const EmbeddedPreview* chosen =
      ChoosePreview(previews, facts_of, request.GetMimeType(), box.width_, box.height_);
  return chosen == nullptr ? std::nullopt : std::make_optional(*chosen);
}

}  // namespace vexathumb::service
