#include "service/picture/media_names.h"

#include <unordered_set>

#include "common/util/util.h"
#include "service/base/path_name.h"

namespace vexathumb::service {
namespace {

using Extensions = std::unordered_set<std::string>;

}  // namespace

MediaKind MediaKindOf(const std::string& path) {
  static const Extensions kFurtherPictures = {"webp", "avif", "jxl", "cr3", "j2k", "hif"};
  const std::string name = LastComponent(path);
  if (name.find('.') == std::string::npos) return MediaKind::kNone;
  if (IsSupportVideo(name)) return MediaKind::kVideo;
  const bool is_picture =
      IsSupportImage(name) || kFurtherPictures.count(file::GetFileExt(name)) > 0;
  return is_picture ? MediaKind::kPicture : MediaKind::kNone;
}

bool IsWithoutPicture(const std::string& path) {
  static const Extensions kSoundAndText = {"mka", "mks", "m4a", "m4b", "m4p", "m4r", "ac3", "amr"};
  return kSoundAndText.count(file::GetFileExt(LastComponent(path))) > 0;
}

}  // namespace vexathumb::service
