#include "service/build/build_settings.h"

#include <algorithm>
#include <thread>

namespace vexathumb::service {

int Processors() {
  // Asking takes the system longer than finding a stored thumbnail's path.
  static const int processors = static_cast<int>(std::thread::hardware_concurrency());
  return std::max(processors, 1);
}

BuildOptions BuildOptionsFrom(const vexaplatform::ServiceSettings& settings) {
  BuildOptions options;
  options.compaction = settings.compaction;
  options.quality = settings.quality;
  options.free_boxes = FreeBoxLimitsFrom(settings);
  return options;
}

BuildLimits BuildLimitsFrom(const vexaplatform::ServiceSettings& settings) {
  return {settings.builders > 0 ? settings.builders : Processors(), settings.waiting};
}

}  // namespace vexathumb::service
