#ifndef VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_
#define VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_

#include "service/build/build.h"
#include "service/store/build_slot.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {

// The processors that this process may use, at least one.
int Processors();

// What the settings say about building.
BuildOptions BuildOptionsFrom(const vexaplatform::ServiceSettings& settings);
BuildLimits BuildLimitsFrom(const vexaplatform::ServiceSettings& settings);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_BUILD_SETTINGS_H_
