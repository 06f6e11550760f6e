// The file of the platform's settings.
#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "platform/base/settings_file.h"

namespace vexaplatform {
namespace {

bool IsSoundPath(const std::string& path) {
  const bool is_absolute = !path.empty() && path[0] == '/';
  const bool climbs = (path + "/").find("/../") != std::string::npos;
  const bool has_end = path.size() > 1 && path.back() == '/';
  return is_absolute && !climbs && !has_end;
}

void CheckDefaults(const Settings& settings) {
  const Settings defaults;
  MUST_HOLD(settings.layout == defaults.layout && settings.root == defaults.root);
  MUST_HOLD(settings.shares.empty() && settings.http.map.empty());
  MUST_HOLD(settings.service.lock_dir == defaults.service.lock_dir);
}

void CheckValues(const Settings& settings) {
  MUST_HOLD(IsSoundPath(settings.root) && settings.root != "/");
  MUST_HOLD(IsSoundPath(settings.service.lock_dir) && settings.service.lock_dir != "/");
  for (const ShareSettings& share : settings.shares) {
    MUST_HOLD(!share.name.empty());
    MUST_HOLD(IsSoundPath(share.path));
  }
  const ServiceSettings& service = settings.service;
  MUST_HOLD(service.builders >= 0 && service.builders <= 1024);
  MUST_HOLD(service.waiting >= 0 && service.waiting <= 10000);
  MUST_HOLD(service.quality >= 1 && service.quality <= 100);
  MUST_HOLD(service.free_boxes >= 0 && service.free_boxes <= 1000);
  MUST_HOLD(IsSoundPath(settings.tools.temp_dir));
  for (const auto& [tool, limits] : settings.tools.limits) {
    MUST_HOLD(!tool.empty());
    MUST_HOLD(limits.address_space > 0 && limits.cpu_time > 0 && limits.wall_time > 0);
  }
  for (const UriMapping& mapping : settings.http.map) {
    MUST_HOLD(IsSoundPath(mapping.path) && IsSoundPath(mapping.uri));
  }
}

// A file, a line's number, and one line of text.
bool IsComplaint(const std::string& error, const std::string& file) {
  return error.rfind(file + ":", 0) == 0 && error.find('\n') == std::string::npos;
}

}  // namespace
}  // namespace vexaplatform

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vexaplatform;
  static const vexathumb::fuzz::MemoryFile file;
  file.SetContent(data, size);
  const Settings settings = ReadSettingsFile(file.path());
  MUST_HOLD(settings.file == file.path());
  if (settings.error.empty()) {
    CheckValues(settings);
  } else {
    MUST_HOLD(IsComplaint(settings.error, file.path()));
    CheckDefaults(settings);
  }
  return 0;
}
