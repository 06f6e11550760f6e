#include "service/build/stored_facts.h"

#include "common/util/util.h"
#include "service/base/path_name.h"
#include "service/store/source_mark.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

// By the name: what it says is only where to look first.
std::string LikelyTypeOf(const std::string& path) {
  const std::string extension = file::GetFileExt(LastComponent(path));
  return extension == "png" || extension == "gif" ? "image/" + extension : "image/jpeg";
}

}  // namespace

std::optional<SourceFacts> StoredFacts(const std::string& path, const struct stat& source,
                                       const std::vector<std::string>& labels) {
  const std::string directory = StoreDirectoryOf(path);
  if (directory.empty()) return std::nullopt;
  SourceFacts likely;
  likely.mime = LikelyTypeOf(path);
  try {
    ThumbInfo info(path, "", {0, 0});
    info.SetEnableGIF(true);
    for (const std::string& label : labels) {
      info.SetSize(label);
      for (likely.rotate = 0; likely.rotate < 4; ++likely.rotate) {
        likely.ApplyTo(&info);
        std::string stored = directory;
        stored.append("/").append(info.GetDocdeckThumbEAName());
        auto facts = ReadMarkedFacts(stored, source);
        if (facts && facts->rotate == likely.rotate) return facts;
      }
    }
  } catch (const std::exception&) {  // of the library: it has gone, or there is no such size
  }
  return std::nullopt;
}

}  // namespace vexathumb::service
