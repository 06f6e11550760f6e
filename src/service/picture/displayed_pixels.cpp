#include "service/picture/displayed_pixels.h"

#include <fcntl.h>

#include <exception>
#include <mutex>
#include <utility>

#include "posix/unique_fd.h"
#include "service/picture/inspection.h"
#include "thumb/container_orientation.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {
namespace {

// `path` is a file that the library's own inspection has let through: Exiv2 chooses its parser by
// content, and some of them crash.
bool HasSidewaysOrientation(const std::string& path) {
  const std::lock_guard<std::mutex> lock(ThumbInfo::exiv2_mutex_);
  const auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  const auto orientation = image->exifData().findKey(ThumbInfo::stdOrientationKey);
  if (orientation == image->exifData().end()) return false;
  const std::string value = orientation->toString();
  return value >= "5" && value <= "8" && value.size() == 1;
}

}  // namespace

std::optional<Pixels> DisplayedPixels(const std::string& path) {
  const InspectedSource picture(path, false);
  if (picture.inspection().result != InspectionResult::kRead) return std::nullopt;
  const ThumbInfo& info = picture.info();
  if (info.GetWidth() == 0 || info.GetHeight() == 0) return std::nullopt;
  Pixels pixels = {info.GetWidth(), info.GetHeight()};
  try {
    // The library counts no turns where decoders turn; the size that it tells is the stored one.
    const bool is_sideways = IsTurnedByDecoder(info.GetMimeType()) ? HasSidewaysOrientation(path)
                                                                   : (info.GetRotate() & 1) != 0;
    if (is_sideways) std::swap(pixels.width, pixels.height);
    return pixels;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<Pixels> DisplayedPixelsIn(int folder, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const posix::UniqueFd file(openat(folder, name.c_str(), kFlags));
  if (!file) return std::nullopt;
  return DisplayedPixels("/proc/self/fd/" + std::to_string(file.get()));
}

}  // namespace vexathumb::service
