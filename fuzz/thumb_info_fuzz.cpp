// The content of a source: metadata and embedded preview.
#include <syslog.h>
#include <unistd.h>

#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "service/picture/inspection.h"
#include "service/picture/metadata_warnings.h"

namespace vexathumb {
namespace {

void CheckDescription(const ThumbInfo& info) {
  MUST_HOLD(info.IsGood());
  MUST_HOLD(info.GetRotate() >= 0 && info.GetRotate() < 4);
  MUST_HOLD(!info.GetMimeType().empty());
  const ThumbDimension box = info.GetTargetDimension();
  MUST_HOLD(box.width_ <= 640 && box.height_ <= 640);
  const std::string preview = info.GetEXIFPreviewTmpPath();
  if (!preview.empty()) MUST_HOLD(unlink(preview.c_str()) == 0);
}

void InspectInput(const std::string& path) {
  ThumbInfo info(path, kBig, {640, 640});
  const service::Inspection inspection = service::Inspect(&info, service::WithPreview::kYes);
  if (inspection.result == service::InspectionResult::kRead) return CheckDescription(info);
  MUST_HOLD(!info.IsGood());
  MUST_HOLD(!inspection.cause.text.empty());
  unlink(info.GetEXIFPreviewTmpPath().c_str());
}

// What is said of each input, to the system's log and by Exiv2, is of no use here.
bool BeQuiet() {
  setlogmask(LOG_MASK(LOG_EMERG));
  service::MuteMetadataWarnings();
  return true;
}

}  // namespace
}  // namespace vexathumb

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vexathumb::fuzz::MemoryFile file;
  [[maybe_unused]] static const bool is_quiet = vexathumb::BeQuiet();
  file.SetContent(data, size);
  vexathumb::InspectInput(file.path());
  return 0;
}
