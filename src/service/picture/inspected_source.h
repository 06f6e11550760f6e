#ifndef VEXATHUMB_SERVICE_PICTURE_INSPECTED_SOURCE_H_
#define VEXATHUMB_SERVICE_PICTURE_INSPECTED_SOURCE_H_

#include <optional>
#include <string>

#include "service/picture/error_cause.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// What the library sees of one source, without a request and without side effects: to ask about
// names in the store and what is current there.
class InspectedSource {
 public:
  // Reads the metadata; no preview is extracted. `path` is absolute. Content that is no known
  // picture is accepted, since a raw file's preview may still be had; anything else that the
  // library throws passes through.
  InspectedSource(const std::string& path, bool allow_gif);

  const std::string& path() const { return path_; }
  const ThumbInfo& info() const { return info_; }

  // Why the content counts as no picture; empty when it was read, and for videos.
  const std::optional<Cause>& content_problem() const { return content_problem_; }

  // The description as it stands in a request for a size label, which must be known.
  ThumbInfo ForSize(const std::string& label) const;

  // The path of an entry of its store directory; empty when there can be none.
  std::string StorePath(const std::string& name) const;

 private:
  std::string path_;
  ThumbInfo info_;
  std::optional<Cause> content_problem_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_INSPECTED_SOURCE_H_
