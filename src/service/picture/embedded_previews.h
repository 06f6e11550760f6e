#ifndef VEXATHUMB_SERVICE_PICTURE_EMBEDDED_PREVIEWS_H_
#define VEXATHUMB_SERVICE_PICTURE_EMBEDDED_PREVIEWS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/picture/inspection.h"

namespace vexathumb::service {

// A smaller picture that the camera has put into its file.
struct EmbeddedPreview {
  std::string mime;
  uint32_t width;
  uint32_t height;
  uint64_t bytes;
};

// All of them, smallest first; none for sources that the library could not read, and for those
// whose previews it does not use because they do not share the picture's turn.
std::vector<EmbeddedPreview> ListEmbeddedPreviews(const InspectedSource& source);

// Which of them the library would take in the place of the picture for this request.
std::optional<EmbeddedPreview> PreviewFor(const ThumbInfo& request,
                                          const std::vector<EmbeddedPreview>& previews);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_EMBEDDED_PREVIEWS_H_
