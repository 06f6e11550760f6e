#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_BUILD_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_BUILD_H_

#include <functional>
#include <string>
#include <vector>

#include "service/build/build_settings.h"
#include "service/index/source_report.h"
#include "service/store/build_slot.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {

struct SourceBuildOptions {
  std::vector<std::string> sizes;  // labels other than "original"
  BuildOptions build;
  std::string lock_directory;
  BuildLimits limits;
  bool retry_failed = false;  // try sources again that are remembered as failed
  bool dry_run = false;       // only tell what would be built
  bool with_facts = false;    // read the pixels and bytes of every thumbnail, built or current
  // Asked between sizes, and while waiting for others: whether to leave the rest for another run.
  std::function<bool()> is_stopping = [] { return false; };
};

// What the settings say, without sizes.
SourceBuildOptions SourceBuildOptionsFrom(const vexaplatform::ServiceSettings& settings);

// Brings the stored thumbnails of one source up to date and starts a tool only where one is not:
// what is current costs the reading of the source's metadata and the status of each thumbnail. Of a
// video, whose thumbnail is its screenshot, one is made where there is none. Animated GIFs stay
// animated. `source` is absolute.
//
// Waits for others who build for this source, and lets requests that somebody waits for go first.
// What appears in the store appears complete. A source that no thumbnail can be made of is
// remembered (failure_record.h). Throws std::system_error when the locks cannot be had, never on
// account of the source.
SourceReport BuildSource(const std::string& source, const SourceBuildOptions& options);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_BUILD_H_
