#ifndef VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_
#define VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_

#include <optional>
#include <string>

#include "service/picture/error_cause.h"

namespace vexathumb::service {

// What stands in the way of keeping thumbnails of the source, whose store directory is made where
// it is missing. The text names paths: it is for who may see them.
std::optional<Cause> StoreObstacle(const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_
