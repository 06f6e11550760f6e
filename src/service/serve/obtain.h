#ifndef VEXATHUMB_SERVICE_SERVE_OBTAIN_H_
#define VEXATHUMB_SERVICE_SERVE_OBTAIN_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "service/build/build_settings.h"
#include "service/build/thumbnail.h"
#include "service/build/thumbnail_request.h"
#include "service/store/build_slot.h"

namespace vexathumb::service {

struct ObtainOptions {
  std::string lock_directory;
  BuildLimits limits;
  // How many answer requests side by side; asked when one is about to build (limits.workers).
  std::function<int()> count_workers;
  std::optional<std::chrono::seconds> patience;  // with others' builds; without one, any time
  BuildOptions build;
  std::string free_box_store;      // whose free boxes are counted (free_boxes.h); empty for none
  bool use_failure_record = true;  // otherwise failures are neither asked for nor recorded
};

// What the settings say.
ObtainOptions ObtainOptionsFrom(const vexaplatform::ServiceSettings& settings);

// Finds the stored thumbnail or has it built, once, however many ask at the same moment. A stored
// one is found without waiting for anyone; a source that needs no conversion is the picture itself.
// Where too many wait, or it takes too long, nothing is built.
// Without a picture the outcome and the cause say why. Throws std::system_error when the locks
// cannot be had.
Thumbnail ObtainThumbnail(const ThumbnailRequest& request, const ObtainOptions& options);

// What the same would answer without building; nothing where it would build. Waits for nobody. Of
// a source that cannot even be read it may be recorded why.
std::optional<Thumbnail> AnswerWithoutBuilding(const ThumbnailRequest& request,
                                               const ObtainOptions& options);

// Whether the picture shows what could be read of a source that is cut short: it says so itself, or
// has its mark.
bool IsDamaged(const Thumbnail& thumbnail, const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_OBTAIN_H_
