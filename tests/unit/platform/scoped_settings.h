#ifndef VEXAPLATFORM_TESTS_SCOPED_SETTINGS_H_
#define VEXAPLATFORM_TESTS_SCOPED_SETTINGS_H_

#include <cstdlib>
#include <string>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexaplatform {

// A settings file of its own that holds as long as this does.
class ScopedSettings {
 public:
  explicit ScopedSettings(const std::string& text) {
    Write(text);
    setenv("VEXATHUMB_CONFIG", file().c_str(), 1);
  }
  ScopedSettings(const ScopedSettings&) = delete;
  ScopedSettings& operator=(const ScopedSettings&) = delete;
  ~ScopedSettings() { unsetenv("VEXATHUMB_CONFIG"); }

  std::string file() const { return folder_ / "platform.ini"; }
  void Write(const std::string& text) { vexathumb::kit::WriteFile(file(), text); }

 private:
  vexathumb::kit::TempDir folder_;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TESTS_SCOPED_SETTINGS_H_
