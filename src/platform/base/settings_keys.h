#ifndef VEXAPLATFORM_BASE_SETTINGS_KEYS_H_
#define VEXAPLATFORM_BASE_SETTINGS_KEYS_H_

#include <functional>
#include <string>

#include "vexaplatform/settings.h"

namespace vexaplatform {

// Where the values of a section go.
struct SettingsTarget {
  Settings* settings = nullptr;
  ShareSettings* share = nullptr;  // in a section of a share
  ToolLimits* limits = nullptr;    // in a section of a tool
};

// What a key may be set to.
struct SettingsValue {
  std::string wanted;  // as in 'quality is "no", not a number from 1 to 100'
  // Checks a text and puts it where it belongs. False for a text that is no such value.
  std::function<bool(const std::string& text, const SettingsTarget& target)> take;
};

enum class Repeat { kOnce, kAny };  // how often a section may have a key

struct SettingsKey {
  const char* section;  // "share" and "tool" are the kinds of those that have a name
  const char* name;
  SettingsValue value;
  Repeat repeat = Repeat::kOnce;
};

// Null when a section of this kind has no such key.
const SettingsKey* FindSettingsKey(const std::string& section, const std::string& name);

// Whether there are keys for sections of this kind.
bool IsSettingsSection(const std::string& section);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_SETTINGS_KEYS_H_
