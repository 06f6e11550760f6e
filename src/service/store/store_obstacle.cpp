#include "service/store/store_obstacle.h"

#include <cerrno>

#include "posix/error_text.h"
#include "service/store/store_files.h"
#include "service/store/store_place_check.h"

namespace vexathumb::service {
namespace {

StoreObstacle ObstacleOf(int error, const std::string& why) {
  const std::string text = "its store cannot be written: " + why;
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return {{"there is no room for it in the store", "make room on its volume"}};
    case EROFS:
      return {{text, "mount its volume for writing"}};
    case ENAMETOOLONG:
      return {cause::kPathTooLong, true};
    case EACCES:
    case EPERM:
      return {
          {text,
           "give the right to write there, or set layout = auto under [store] in the settings"}};
    case ELOOP:
    case ENOTDIR:
      return {{text, "remove what is in its place"}};
    default:
      return {{text, "check its volume"}};
  }
}

}  // namespace

std::optional<StoreObstacle> FindStoreObstacle(const std::string& source) {
  const StorePlace place = CheckStorePlace(source);
  if (place.error != 0) return ObstacleOf(place.error, place.obstacle);
  if (!place.volume_fits) {
    return StoreObstacle{
        {"its volume holds no store", "set layout = auto under [store] in the settings"}};
  }
  errno = 0;
  if (IsStoreWritable(source)) return std::nullopt;
  return ObstacleOf(errno, place.directory + (errno == 0 ? "" : ": " + posix::TextOfError(errno)));
}

}  // namespace vexathumb::service
