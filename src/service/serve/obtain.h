#ifndef VEXATHUMB_SERVICE_SERVE_OBTAIN_H_
#define VEXATHUMB_SERVICE_SERVE_OBTAIN_H_

#include <optional>
#include <string>

#include "service/build/build.h"
#include "service/build/thumbnail_request.h"
#include "service/store/build_slot.h"

namespace vexathumb::service {

struct ObtainOptions {
  std::string lock_directory;
  BuildLimits limits;
  BuildOptions build;
  bool retry_failed = false;  // try sources again that are remembered as failed
};

enum class Obtained {
  kPicture,
  kMissing,    // there is no such source
  kNotStored,  // only stored thumbnails were asked for
  kUnusable,   // no thumbnail can be made of the source
  kOverload,   // too many builds wait already
  kToolFault,  // a tool is missing, cannot be started or was ended, or there is no room for it
};

// The answer to a request.
struct Thumbnail {
  Obtained outcome = Obtained::kPicture;
  std::string path;  // of the picture
  std::string mime;
  bool turn_when_sent = false;  // a stored photo-album thumbnail that the caller wants turned
  bool throw_away = false;      // to be deleted after use
  std::string reason;           // one line for a user when there is no picture, without paths
};

// Finds the stored thumbnail or has it built, once, however many ask at the same moment. A stored
// one is found without waiting for anyone; a source that needs no conversion is the picture itself.
// Throws std::system_error when the locks cannot be had.
Thumbnail ObtainThumbnail(const ThumbnailRequest& request, const ObtainOptions& options);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_OBTAIN_H_
