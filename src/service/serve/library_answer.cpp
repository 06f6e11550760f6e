#include "service/serve/library_answer.h"

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <stdexcept>

#include "service/base/silenced_descriptor.h"
#include "service/base/source_path.h"
#include "service/picture/inspection.h"
#include "service/store/build_slot.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

bool Ask(Thumb& thumb, const ThumbnailRequest& request) {
  // What the tools complain of is not for whoever asked for a thumbnail.
  const SilencedDescriptor silent_tools(stderr);
  if (!request.IsFreeBox()) return !thumb.CalcOutputFile(request.label).empty();
  // For a free box the library only offers to send the file.
  const SilencedDescriptor sent_nowhere(stdout);
  return thumb.Output(static_cast<int>(request.box.width_), static_cast<int>(request.box.height_));
}

// The library leaves the full frames of an animation behind when it cannot scale them.
void RemoveLeftFrames() {
  const std::string prefix = "/var/tmp/convert_thumbnail__";
  for (const vexaplatform::ToolReport& run : vexaplatform::ToolRuns()) {
    if (run.written.compare(0, prefix.size(), prefix) == 0) unlink(run.written.c_str());
  }
}

Owner OwnerOf(Thumb& thumb, const ThumbnailRequest& request) {
  if (IsSameFile(thumb.GetOutputFile(), request.source)) return Owner::kSource;
  const std::string from = thumb.GetOutputType();
  // "To be deleted" stays set when an earlier, larger size was generated in vain, so it counts for
  // what generation makes only.
  const bool is_generated = from == kFromVarTmp || (from == kFromDocdeck && thumb.IsNeedDelete());
  return is_generated ? Owner::kCaller : Owner::kStore;
}

Thumbnail WhyThereIsNone(const ThumbnailRequest& request, const Inspection& inspection) {
  if (inspection.result == InspectionResult::kInterrupted) {
    return Thumbnail::None(Outcome::kPostponed, inspection.cause);
  }
  if (inspection.result == InspectionResult::kMissing ||
      inspection.result == InspectionResult::kUnreadable) {
    return Thumbnail::None(Outcome::kMissing, inspection.cause);
  }
  if (inspection.result != InspectionResult::kRead) {
    return Thumbnail::None(Outcome::kUnusable, inspection.cause);
  }
  if (request.label == kOriginal)
    return Thumbnail::None(Outcome::kUnusable, cause::kUnshownOriginal);
  if (IsVideo(request)) return Thumbnail::None(Outcome::kUnusable, cause::kNoScreenshot);
  if (request.only_stored) return Thumbnail::None(Outcome::kNotStored, cause::kNoneStored);
  return Thumbnail::None(Outcome::kUnusable, cause::kNoTool);
}

std::optional<Thumbnail> TryLibrary(const ThumbnailRequest& request) {
  try {
    Thumb thumb(request.source, OptionsOf(request));
    thumb.Rotate(request.turns);
    // After a preview that could not be stored the library names a file that is not there.
    if (Ask(thumb, request) && !thumb.GetOutputType().empty() &&
        access(thumb.GetOutputFile().c_str(), F_OK) == 0) {
      Thumbnail answer;
      answer.path = thumb.GetOutputFile();
      answer.mime = thumb.GetOutputMimeType();
      answer.from = thumb.GetOutputType();
      answer.owner = OwnerOf(thumb, request);
      if (answer.from == kFromPixdeck) answer.turns_to_come = request.turns;
      return answer;
    }
  } catch (const Error&) {
    // What the library throws on account of the source its inspection tells too.
  } catch (const std::logic_error&) {
  } catch (const std::overflow_error&) {
  }
  return std::nullopt;
}

}  // namespace

Thumbnail AskLibrary(const ThumbnailRequest& request, const std::string& lock_directory) {
  const SourceLock lock(lock_directory, request.source);
  // The library reads metadata in this process: only what one with limits has been able to read.
  const Inspection inspection = InspectedSource(request.source, request.animated_gif).inspection();
  if (!inspection.IsUsable()) return WhyThereIsNone(request, inspection);
  vexaplatform::ForgetToolRuns();
  const auto answer = TryLibrary(request);
  RemoveLeftFrames();
  return answer ? *answer : WhyThereIsNone(request, inspection);
}

}  // namespace vexathumb::service
