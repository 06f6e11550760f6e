#ifndef VEXATHUMB_SERVICE_BUILD_TOOL_PICTURES_H_
#define VEXATHUMB_SERVICE_BUILD_TOOL_PICTURES_H_

#include <optional>
#include <string>

#include "service/build/build_settings.h"
#include "service/build/made_picture.h"
#include "service/build/thumbnail_request.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// Makes pictures of one source by the library's commands, in the library's order, each by itself,
// in the form in which they are kept; animations of a larger one that has been made.
class ToolPictures {
 public:
  // `version` outlives this.
  ToolPictures(const SourceVersion& version, const BuildOptions& options);

  // `info` is the request's description, inspected or found to be unreadable. Nothing when the
  // tools cannot make it. Exceptions of the library pass through.
  std::optional<MadePicture> Make(const ThumbnailRequest& request, const ThumbInfo& info,
                                  const NewFile& new_file) const;

  // The same of a JPEG by djpeg alone.
  std::optional<MadePicture> Decode(const ThumbnailRequest& request, const ThumbInfo& info,
                                    const NewFile& new_file) const;

  // Makes further animations of this one, at a path in the source's store.
  void GoOnWith(const std::string& larger) { larger_ = larger; }

 private:
  const SourceVersion& version_;
  const BuildOptions options_;
  std::string larger_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_TOOL_PICTURES_H_
