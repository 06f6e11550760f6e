#ifndef VEXAPLATFORM_STORE_STORE_PLACE_H_
#define VEXAPLATFORM_STORE_STORE_PLACE_H_

#include <string>

namespace vexaplatform {

// Where the stores of the files in a folder lie, by the settings and the folder's volume.
struct StorePlace {
  std::string root;    // what stands before the folder's path: the store root, or nothing
  std::string folder;  // root and folder: the name of the hidden folder follows
};

// Finds the place for the absolute path `folder`, which need not exist. 0; -1 with errno EINVAL for
// a path that is relative or that would climb out of the root, or what the volume's state gave.
int FindStorePlace(const std::string& folder, StorePlace* place);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_STORE_STORE_PLACE_H_
