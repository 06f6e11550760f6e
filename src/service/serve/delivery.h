#ifndef VEXATHUMB_SERVICE_SERVE_DELIVERY_H_
#define VEXATHUMB_SERVICE_SERVE_DELIVERY_H_

#include <sys/stat.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/build/thumbnail.h"

namespace vexathumb::service {

// A stored thumbnail that cannot be turned.
struct TurnFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Writes the picture, turned as it must be, to the file `path`, which is never there in part, or to
// standard output. A picture of the caller's is deleted afterwards, also when writing failed; not
// when it is `path` itself. Throws std::system_error or TurnFailed.
void DeliverToFile(const Thumbnail& thumbnail, const std::string& source, const std::string& path);
void DeliverToStandardOutput(const Thumbnail& thumbnail, const std::string& source);

// The status of the file that answers a request for a shared source: the source's, as it was found,
// or that of a file of a store, found again below one of these folders without following a link
// that somebody may have put in the place of a folder meanwhile. Nothing where it is not there.
std::optional<struct stat> StatusToDeliver(const Thumbnail& thumbnail, const struct stat& source,
                                           const std::vector<std::string>& folders);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_DELIVERY_H_
