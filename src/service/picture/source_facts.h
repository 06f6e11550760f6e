#ifndef VEXATHUMB_SERVICE_PICTURE_SOURCE_FACTS_H_
#define VEXATHUMB_SERVICE_PICTURE_SOURCE_FACTS_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "thumb/thumb_info.h"

namespace vexathumb {

// What a source's metadata say of it, apart from a description of it, so that a description gets
// it without reading them again: from another process, or from what is stored.
struct SourceFacts {
  std::string mime;
  uint32_t width = 0;  // stored, like the height
  uint32_t height = 0;
  int rotate = 0;  // clockwise quarter turns, 0 to 3
  bool flop = false;
  bool is_damaged = false;  // its thumbnails show what can be read of it

  // `info` has been inspected, with success.
  static SourceFacts Of(const ThumbInfo& info);

  // In one line: "image/jpeg 4000 3000 1 0", or with "damaged" at its end. Nothing where the text
  // is none of these.
  std::string Text() const;
  static std::optional<SourceFacts> Parse(const std::string& text);

  // As though `info` had read them.
  void ApplyTo(ThumbInfo* info) const;

  // The same of its other parts.
  static const std::string& PathOf(const ThumbInfo& info);
  static const struct stat& StatusOf(const ThumbInfo& info);
  static void SetStatus(ThumbInfo* info, const struct stat& status);
  static void SetPreview(ThumbInfo* info, const std::string& path);
};

}  // namespace vexathumb

#endif  // VEXATHUMB_SERVICE_PICTURE_SOURCE_FACTS_H_
