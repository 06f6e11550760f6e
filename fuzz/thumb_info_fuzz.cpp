// The content of a source: metadata and embedded preview.
#include <syslog.h>
#include <unistd.h>

#include <exiv2/exiv2.hpp>
#include <stdexcept>

#include "common/error/error.h"
#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "thumb/thumb_info.h"

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

void Inspect(const std::string& path) {
  ThumbInfo info(path, kBig, {640, 640});
  try {
    info.ExtractImgInfo(true);
  } catch (const Error& error) {
    MUST_HOLD(error.Code() > Error::kThumbErrorMinCode && error.Code() < Error::kDummyEndCode);
    MUST_HOLD(!info.IsGood());
    unlink(info.GetEXIFPreviewTmpPath().c_str());
    return;
  } catch (const std::logic_error&) {  // an orientation that is no number
    unlink(info.GetEXIFPreviewTmpPath().c_str());
    return;
  } catch (const std::overflow_error&) {  // an offset and a size that no file has
    unlink(info.GetEXIFPreviewTmpPath().c_str());
    return;
  }
  CheckDescription(info);
}

// What is said of each input, to the system's log and by Exiv2, is of no use here.
bool BeQuiet() {
  setlogmask(LOG_MASK(LOG_EMERG));
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  return true;
}

}  // namespace
}  // namespace vexathumb

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vexathumb::fuzz::MemoryFile file;
  [[maybe_unused]] static const bool is_quiet = vexathumb::BeQuiet();
  file.SetContent(data, size);
  vexathumb::Inspect(file.path());
  return 0;
}
