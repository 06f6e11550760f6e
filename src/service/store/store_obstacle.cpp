#include "service/store/store_obstacle.h"

#include "service/store/store_files.h"
#include "service/store/store_place_check.h"

namespace vexathumb::service {

std::optional<Cause> StoreObstacle(const std::string& source) {
  const StorePlace place = CheckStorePlace(source);
  if (!place.volume_fits) {
    return Cause{"its volume holds no store", "set layout = auto under [store] in the settings"};
  }
  if (place.IsWritable() && IsStoreWritable(source)) return std::nullopt;
  const std::string why = place.obstacle.empty() ? place.directory : place.obstacle;
  return Cause{"its store cannot be written: " + why,
               "give the right to write there, or set layout = auto under [store] in the settings"};
}

}  // namespace vexathumb::service
