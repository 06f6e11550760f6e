#ifndef VEXATHUMB_SERVICE_SERVE_DELIVERY_H_
#define VEXATHUMB_SERVICE_SERVE_DELIVERY_H_

#include <stdexcept>
#include <string>

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

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_DELIVERY_H_
