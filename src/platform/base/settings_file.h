#ifndef VEXAPLATFORM_BASE_SETTINGS_FILE_H_
#define VEXAPLATFORM_BASE_SETTINGS_FILE_H_

#include <string>

#include "vexaplatform/settings.h"

namespace vexaplatform {

// Reads the settings from `file`. A file that is broken or cannot be opened gives the defaults and
// Settings::error.
Settings ReadSettingsFile(const std::string& file);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_SETTINGS_FILE_H_
