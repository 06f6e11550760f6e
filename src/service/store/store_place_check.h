#ifndef VEXATHUMB_SERVICE_STORE_STORE_PLACE_CHECK_H_
#define VEXATHUMB_SERVICE_STORE_STORE_PLACE_CHECK_H_

#include <string>

namespace vexathumb::service {

// Where thumbnails of one source are to lie, and whether they can. Nothing is made or changed to
// find out.
struct StorePlace {
  std::string directory;  // empty when the platform has none for this source
  bool volume_fits =
      false;             // the volume is one that holds stores; without one results are not kept
  std::string obstacle;  // why the directory cannot be made or written to; empty when it can
  int error = 0;         // errno of that

  bool IsWritable() const { return volume_fits && obstacle.empty(); }
};

StorePlace CheckStorePlace(const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_PLACE_CHECK_H_
