#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "service/picture/error_cause.h"

namespace vexathumb::service {

enum class Outcome {
  kPicture,
  kMissing,        // there is no such source
  kNotStored,      // only stored thumbnails were asked for
  kUnusable,       // no thumbnail can be made of the source, which is proved (failure_proof.h)
  kSourceChanged,  // it was written while its thumbnail was made
  kOverload,       // too many builds wait already
  kPostponed,      // nothing is proved: tried again when the machine is mended, or after a pause
};

// What has made a picture now; nobody has one that was there.
enum class Maker {
  kNobody,
  kPreview,   // it is the camera's
  kRenderer,  // vexathumb-render
  kTools,
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

  bool is_damaged = false;  // shows what can be read of a source that is cut short

  Maker maker = Maker::kNobody;
  std::string made_of;                  // the source's MIME type, where it has been made now
  std::chrono::nanoseconds made_in{0};  // without waiting for a turn

  // The sum of what its store has of free boxes, where this is one that has come to it.
  uint64_t free_box_bytes = 0;

  // Why there is no picture:
  Cause cause;
  std::string tool;        // the program that it is about; empty when it is about none
  bool met_limit = false;  // of kUnusable: by a limit of that program
  bool pauses = false;     // of kPostponed: for a pause that grows, as nothing else shows whether
                           // another try is worth its while
  bool is_known = false;   // remembered from before, and not tried again
  std::chrono::seconds retry_after{0};  // of kPostponed; 0: not known

  static Thumbnail None(Outcome outcome, Cause cause) {
    Thumbnail none;
    none.outcome = outcome;
    none.cause = std::move(cause);
    return none;
  }
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_H_
