#ifndef VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_
#define VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_

#include <optional>
#include <string>

#include "service/picture/error_cause.h"

namespace vexathumb::service {

struct StoreObstacle {
  Cause cause;                // its text names paths: it is for who may see them
  bool is_of_source = false;  // no store would do: its path is too long
};

// What stands in the way of keeping thumbnails of the source, whose store directory is made where
// it is missing.
std::optional<StoreObstacle> FindStoreObstacle(const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_OBSTACLE_H_
