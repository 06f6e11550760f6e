#ifndef VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_
#define VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_

#include <string>

#include "service/store/build_slot.h"
#include "service/store/free_boxes.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {

// What is made where the store does not take it.
enum class OutsideStore {
  kMake,              // a picture that is the caller's
  kMakeWithoutStore,  // so where the volume holds no stores; otherwise nothing
  kNever,
  kAlone,  // a picture that is the caller's, of which the store sees nothing
};

struct BuildOptions {
  bool compaction = true;   // re-encode BMP data as JPEG
  int quality = 85;         // of JPEGs that are not the library's, 1 to 100
  bool is_for_one = false;  // this process makes one picture: what takes time to start does not pay
  FreeBoxLimits free_boxes;
  OutsideStore outside_store = OutsideStore::kMake;
  std::string outside_folder = "/var/tmp";
};

// The processors that this process may use, at least one.
int Processors();

// What the settings say about building.
BuildOptions BuildOptionsFrom(const vexaplatform::ServiceSettings& settings);
BuildLimits BuildLimitsFrom(const vexaplatform::ServiceSettings& settings);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_
