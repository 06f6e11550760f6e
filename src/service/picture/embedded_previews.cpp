#include "service/picture/embedded_previews.h"

#include <cstdlib>

#include "service/picture/metadata_process.h"
#include "thumb/container_orientation.h"
#include "thumb/preview_choice.h"

namespace vexathumb::service {
std::vector<EmbeddedPreview> ListEmbeddedPreviews(const InspectedSource& source) {
  std::vector<EmbeddedPreview> previews;
  if (!source.info().IsGood() || IsTurnedByDecoder(source.info().GetMimeType())) return previews;
  const posix::UniqueFd file = OpenSource(source.path());
  if (!file) return previews;
  const auto answer =
      AskAboutMetadata(file.get(), source.path(), MetadataQuestion::kEmbeddedPreviews, {0, 0});
  const auto& fields = answer.fields;
  const auto number = [&fields](size_t i) { return strtoull(fields[i].c_str(), nullptr, 10); };
  for (size_t i = 0; i + 3 < fields.size(); i += 4) {
    previews.push_back({fields[i], static_cast<uint32_t>(number(i + 1)),
                        static_cast<uint32_t>(number(i + 2)), number(i + 3)});
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
