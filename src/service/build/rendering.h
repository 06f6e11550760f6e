#ifndef VEXATHUMB_SERVICE_BUILD_RENDERING_H_
#define VEXATHUMB_SERVICE_BUILD_RENDERING_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "render/renderer.h"
#include "service/build/made_picture.h"
#include "service/build/thumbnail_request.h"
#include "service/picture/source_version.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {

// Makes pictures of one source by the renderer: with the first one all that are expected, in one
// decode.
class Rendering {
 public:
  // `version` outlives this.
  Rendering(const std::string& source, const SourceVersion& version, int quality);

  // That this picture will be asked for as well.
  void Expect(const ThumbnailRequest& request, const ThumbInfo& info, const NewFile& new_file);

  // Makes the picture, or hands out what was made of it before. `info` is the request's
  // description. Nothing where the renderer makes none.
  std::optional<MadePicture> Make(const ThumbnailRequest& request, const ThumbInfo& info,
                                  const NewFile& new_file);

  // Makes further pictures of a larger one of the source, upright, at a path in its store.
  void GoOnWith(const std::string& larger);
  bool HasLarger() const { return !larger_.empty(); }

  // How the last attempt ended, where no other engine is to try: a limit was met, nothing is
  // proved, or the tools would decode it no better. It is told like the run of a tool.
  const std::optional<vexaplatform::ToolReport>& end() const { return end_; }
  // The source seems cut short, and may still be written.
  bool IsUnfinished() const { return is_unfinished_; }

 private:
  struct Picture {
    render::PictureOrder order;
    std::string form;
    std::string mime;
    NewFile new_file;
  };

  static std::optional<Picture> PictureFor(const ThumbnailRequest& request, const ThumbInfo& info,
                                           int quality, const NewFile& new_file);
  bool Run(const std::vector<Picture>& pictures, const ThumbInfo& info);
  bool IsUsable(const render::Answer& answer, const ThumbInfo& info);

  const std::string source_;
  const SourceVersion& version_;
  const int quality_;
  std::string larger_;
  std::vector<Picture> expected_;
  std::map<std::string, MadePicture> made_;  // by form
  std::optional<vexaplatform::ToolReport> end_;
  bool is_unfinished_ = false;
};

// Fits a picture into a box by the renderer, into a file that is made or replaced. It lies as
// `info` says, which has been inspected. False where there is no renderer or it makes nothing of
// it.
bool FitByRenderer(const ThumbInfo& info, const ThumbDimension& box, const std::string& picture,
                   const std::string& fitted);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_RENDERING_H_
