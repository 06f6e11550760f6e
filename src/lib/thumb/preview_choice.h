#ifndef VEXATHUMB_THUMB_PREVIEW_CHOICE_H_
#define VEXATHUMB_THUMB_PREVIEW_CHOICE_H_

#include <cstdint>
#include <string>

namespace vexathumb {

// Which embedded preview takes the picture's place: for the library, which holds Exiv2's
// descriptions, and for those who forecast what it will do.

// What the choice goes by.
struct PreviewFacts {
  const std::string& mime;
  uint64_t width;
  uint64_t height;
};

// Areas and doubled sides are 32-bit and wrap on purpose: with the "no limit" box the box's area
// wraps to 1, so that the largest preview passes.
inline uint32_t PreviewArea(uint64_t width, uint64_t height) {
  return static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
}

inline bool IsPreviewCandidate(const PreviewFacts& preview, const std::string& source_mime,
                               uint32_t box_width, uint32_t box_height) {
  // The TIFF previews of this raw format are undeveloped.
  if (preview.mime == "image/tiff" && source_mime == "image/x-canon-cr2") return false;
  const uint32_t most_width = 2 * box_width;
  const uint32_t most_height = 2 * box_height;
  return preview.width <= most_width || preview.height <= most_height;
}

// The largest candidate for the box, the earlier of equals; null when there is none or it is too
// small. `facts_of` gives the PreviewFacts of one of `previews`.
template <typename Previews, typename FactsOf>
const typename Previews::value_type* ChoosePreview(const Previews& previews, FactsOf facts_of,
                                                   const std::string& source_mime,
                                                   uint32_t box_width, uint32_t box_height) {
  // One with a smaller share of the box's pixels than this is not worth using.
  constexpr double kMinAreaRatio = 0.75;
  const typename Previews::value_type* chosen = nullptr;
  uint32_t area = 0;
  for (const auto& preview : previews) {
    const PreviewFacts facts = facts_of(preview);
    if (!IsPreviewCandidate(facts, source_mime, box_width, box_height)) continue;
    const uint32_t own_area = PreviewArea(facts.width, facts.height);
    if (chosen != nullptr && own_area <= area) continue;
    chosen = &preview;
    area = own_area;
  }
  const bool is_enough = area >= kMinAreaRatio * PreviewArea(box_width, box_height);
  return is_enough ? chosen : nullptr;
}

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_PREVIEW_CHOICE_H_
