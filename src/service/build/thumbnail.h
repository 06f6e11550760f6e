#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_

#include <string>
#include <utility>

#include "service/picture/error_cause.h"

namespace vexathumb::service {

enum class Outcome {
  kPicture,
  kMissing,        // there is no such source
  kNotStored,      // only stored thumbnails were asked for
  kUnusable,       // no thumbnail can be made of the source
  kSourceChanged,  // it was written while its thumbnail was made
  kOverload,       // too many builds wait already
  kToolFault,      // a tool is missing, cannot be started or was ended, or there is no room for it
};

enum class Owner {
  kSource,  // it is the source itself
  kStore,   // a file of the source's store, which others use too
  kCaller,  // nobody else's: the caller deletes it after use
};

// The names that `from` has, which are the library's own.
constexpr char kFromPixdeck[] = "Pixdeck";
constexpr char kFromDocdeck[] = "Docdeck";
constexpr char kFromReeldeck[] = "Reeldeck";
constexpr char kFromVarTmp[] = "DocdeckVarTmp";  // made, and not kept in a store
constexpr char kFromOriginal[] = "Original";

// The answer to a request for a thumbnail.
struct Thumbnail {
  Outcome outcome = Outcome::kPicture;
  std::string path;  // absolute
  std::string mime;
  std::string from;
  Owner owner = Owner::kStore;
  int turns_to_come = 0;  // quarter turns clockwise of a stored photo-album thumbnail, 0 to 3: it
                          // is stored once for all turns, and turned on its way out
  bool bmp_data = false;  // under a JPEG's name: the fast JPEG path's, not compacted yet
  Cause cause;            // why there is no picture

  static Thumbnail None(Outcome outcome, Cause cause) {
    Thumbnail none;
    none.outcome = outcome;
    none.cause = std::move(cause);
    return none;
  }
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_
