#ifndef VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_
#define VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_

#include <memory>
#include <string>
#include <vector>

#include "vexa/types.h"

namespace vexaplatform {

// Where the thumbnail store of a source lies; vexa/ea.h describes the three.
enum class StoreLayout { kBeside, kCentral, kAuto };

struct ShareSettings {
  std::string name;
  std::string path;  // absolute, without a trailing slash
  bool indexed = false;
};

struct Settings {
  std::string file;  // where they come from, whether it exists or not
  StoreLayout layout = StoreLayout::kBeside;
  std::string root = "/var/lib/vexathumb/store";  // absolute, without a trailing slash
  std::vector<ShareSettings> shares;              // in the file's order
  std::string error;  // empty, or file, line and what is wrong there; all else is then the default
};

// The settings that hold now: those of the file that the environment variable VEXATHUMB_CONFIG
// names, else of /etc/vexathumb/platform.ini, which need not exist. The file is read again when it
// has changed or another one is named; a record once handed out stays as it is.
//
// A broken file, and a file that VEXATHUMB_CONFIG names and that cannot be read, gives one line in
// the system log for every change of it, and the defaults. Never null. Throws std::bad_alloc only.
// Callable from any thread.
VEXAPLATFORM_API std::shared_ptr<const Settings> CurrentSettings();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_
