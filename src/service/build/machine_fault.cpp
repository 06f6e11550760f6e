#include "service/build/machine_fault.h"

#include <unistd.h>

#include <csignal>
#include <optional>

#include "service/base/path_name.h"
#include "service/store/store_files.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

constexpr char kDoctor[] = "'vexathumb doctor' tells more";

// Why the failure says nothing about the source; nothing when the source itself is to blame.
std::optional<Cause> FaultOfMachine(const std::string& source, const ThumbInfo& info) {
  const vexaplatform::ToolReport last = vexaplatform::LastToolRun();
  if (last.ending == vexaplatform::ToolEnding::kNotStarted) {
    return Cause{"the program " + LastComponent(last.program) + " cannot be started", kDoctor};
  }
  const bool ended_by_request =
      last.detail == SIGTERM || last.detail == SIGINT || last.detail == SIGHUP;
  if (last.ending == vexaplatform::ToolEnding::kSignalled && ended_by_request) {
    return Cause{"the program " + LastComponent(last.program) + " was ended", "run again later"};
  }
  if (!HasRoom("/var/tmp")) {
    return Cause{"there is no room for temporary files", "make room in /var/tmp"};
  }
  const Cause no_store_room = {"there is no room for it in the store", "make room on its volume"};
  const bool stores = file::IsDestSupportEAWrite(file::Dirname(source));
  const bool has_store = stores && IsStoreWritable(source);
  if (has_store && !HasRoom(StoreDirectoryOf(source))) return no_store_room;
  if (info.IsWebAcceptable()) return std::nullopt;
  // Raw development came before the last tool, and needs the store for the camera's preview.
  if (access(ThumbConvertCmd::kDcraw.c_str(), X_OK) != 0) {
    return Cause{"the program " + LastComponent(ThumbConvertCmd::kDcraw) + " is missing", kDoctor};
  }
  if (stores && !has_store) return no_store_room;
  return std::nullopt;
}

}  // namespace

Thumbnail WhyThereIsNone(const std::string& source, const SourceVersion& version,
                         const ThumbInfo& info, const Cause& otherwise) {
  if (access(source.c_str(), F_OK) != 0)
    return Thumbnail::None(Outcome::kMissing, cause::kMissingSource);
  if (!version.IsCurrent()) {
    return Thumbnail::None(Outcome::kSourceChanged, cause::kBeingWritten);
  }
  if (const auto fault = FaultOfMachine(source, info)) {
    return Thumbnail::None(Outcome::kToolFault, *fault);
  }
  return Thumbnail::None(Outcome::kUnusable, otherwise);
}

}  // namespace vexathumb::service
