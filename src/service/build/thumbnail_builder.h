#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_BUILDER_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_BUILDER_H_

#include <optional>
#include <string>
#include <vector>

#include "service/base/atomic_file.h"
#include "service/build/build_settings.h"
#include "service/build/engine.h"
#include "service/build/made_picture.h"
#include "service/build/rendering.h"
#include "service/build/thumbnail.h"
#include "service/build/thumbnail_request.h"
#include "service/build/tool_pictures.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// Builds thumbnails of one source: for whoever asks for one, and for the indexer, which has several
// made and calls for the largest first. The caller holds the source's lock.
//
// What appears in the store appears by a rename, complete and with the source's modification time,
// and only while the source is the version that it was made of. Where the store cannot be written,
// or holds enough free boxes, the picture is the caller's, or not made, as the options say.
class ThumbnailBuilder {
 public:
  // `version` outlives this.
  ThumbnailBuilder(const std::string& source, const SourceVersion& version,
                   const BuildOptions& options);

  // That this thumbnail will be asked for as well: what can be made with another in one decode, is.
  void Expect(const ThumbnailRequest& request, const ThumbInfo& info);

  // Builds the thumbnail, unless that very file is stored by now. `info` is the request's
  // description after its inspection. Without a picture the outcome says whose fault it is. Throws
  // nothing on account of the source.
  Thumbnail Build(const ThumbnailRequest& request, const ThumbInfo& info);

 private:
  std::optional<Thumbnail> TryBuild(const ThumbnailRequest& request, const ThumbInfo& info);
  std::optional<Thumbnail> FindOrCompact(const ThumbnailRequest& request, const ThumbInfo& info);
  std::optional<Thumbnail> MakeForStore(const ThumbnailRequest& request, const ThumbInfo& info);
  std::optional<Thumbnail> MakeOutsideStore(const ThumbnailRequest& request, const ThumbInfo& info);
  std::optional<MadePicture> Make(const ThumbnailRequest& request, const ThumbInfo& info,
                                  const NewFile& new_file);
  std::optional<MadePicture> MakeByEngine(Engine engine, const ThumbnailRequest& request,
                                          const ThumbInfo& info, const NewFile& new_file);
  std::optional<MadePicture> MakeAvatarPicture(const ThumbnailRequest& request,
                                               const ThumbInfo& info, const NewFile& new_file);
  std::vector<Engine> Engines(const ThumbnailRequest& request, const ThumbInfo& info) const;
  bool IsWritten(bool success);
  bool IsStoreAtFault() const;
  bool MayMakeOutsideStore() const;
  bool IsTooMuch(const ThumbnailRequest& request, const AtomicFile& made) const;

  const std::string source_;
  const SourceVersion& version_;
  const BuildOptions options_;
  Rendering rendering_;
  ToolPictures tools_;
  bool is_swept_ = false;
  int write_error_ = 0;  // of the last attempt, apart from the tools
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_BUILDER_H_
