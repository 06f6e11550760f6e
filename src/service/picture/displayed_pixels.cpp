#include "service/picture/displayed_pixels.h"

#include <fcntl.h>

#include <utility>
#include <vector>

#include "posix/unique_fd.h"
#include "service/base/stat_cache.h"
#include "service/picture/inspection.h"
#include "service/picture/metadata_process.h"
#include "thumb/container_orientation.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {
namespace {

std::optional<bool> HasSidewaysOrientation(const std::string& path) {
  const posix::UniqueFd file = OpenSource(path);
  if (!file) return std::nullopt;
  const auto answer = AskAboutMetadata(file.get(), path, MetadataQuestion::kIsSideways, {0, 0});
  if (answer.fields.empty()) return std::nullopt;
  return answer.fields[0] == "1";
}

}  // namespace

std::optional<Pixels> DisplayedPixels(const std::string& path) {
  const InspectedSource picture(path, false);
  if (picture.inspection().result != InspectionResult::kRead) return std::nullopt;
  const ThumbInfo& info = picture.info();
  if (info.GetWidth() == 0 || info.GetHeight() == 0) return std::nullopt;
  Pixels pixels = {info.GetWidth(), info.GetHeight()};
  // The library counts no turns where decoders turn; the size that it tells is the stored one.
  const auto is_sideways = IsTurnedByDecoder(info.GetMimeType())
                               ? HasSidewaysOrientation(path)
                               : std::optional((info.GetRotate() & 1) != 0);
  if (!is_sideways) return std::nullopt;
  if (*is_sideways) std::swap(pixels.width, pixels.height);
  return pixels;
}

std::optional<Pixels> DisplayedPixelsIn(int folder, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const posix::UniqueFd file(openat(folder, name.c_str(), kFlags));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  // Also of those of which nothing is known: these may be what takes long to read.
  static StatCache<std::optional<Pixels>> cache;
  const std::string key = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  if (const auto known = cache.Get(key, status)) return *known;
  const auto pixels = DisplayedPixels("/proc/self/fd/" + std::to_string(file.get()));
  cache.Put(key, status, pixels);
  return pixels;
}

}  // namespace vexathumb::service
