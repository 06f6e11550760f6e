#include "service/machine_fault.h"

#include <unistd.h>

#include <csignal>

#include "service/store_files.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

std::string NameOf(const std::string& program) { return program.substr(program.rfind('/') + 1); }

}  // namespace

std::optional<std::string> FaultOfMachine(const std::string& source, const ThumbInfo& info) {
  const vexaplatform::ToolReport last = vexaplatform::LastToolRun();
  if (last.ending == vexaplatform::ToolEnding::kNotStarted) {
    return "the program " + NameOf(last.program) + " cannot be started";
  }
  const bool ended_by_request =
      last.detail == SIGTERM || last.detail == SIGINT || last.detail == SIGHUP;
  if (last.ending == vexaplatform::ToolEnding::kSignalled && ended_by_request) {
    return "the program " + NameOf(last.program) + " was ended";
  }
  if (!HasRoom("/var/tmp")) return "there is no room for temporary files";
  if (info.IsWebAcceptable()) return std::nullopt;
  // Raw development came before the last tool, and needs the store for the camera's preview.
  if (access(ThumbConvertCmd::kDcraw.c_str(), X_OK) != 0) {
    return "the program " + NameOf(ThumbConvertCmd::kDcraw) + " is missing";
  }
  const bool stores = file::IsDestSupportEAWrite(file::Dirname(source));
  if (stores && !HasStoreRoom(source)) return "there is no room for it in the store";
  return std::nullopt;
}

}  // namespace vexathumb::service
