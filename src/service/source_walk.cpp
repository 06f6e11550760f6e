#include "service/source_walk.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "common/util/util.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;

void Walk(const fs::path& folder, SourceWalk& walk) {
  std::error_code error;
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(*entry);
  }
  if (error) walk.unreadable.push_back({folder.string(), error.message()});
  std::sort(entries.begin(), entries.end());

  for (const fs::directory_entry& entry : entries) {
    const std::string path = entry.path().string();
    if (entry.path().filename().string().front() == '.') continue;
    const fs::file_status status = entry.symlink_status(error);
    if (fs::is_directory(status)) {
      Walk(entry.path(), walk);
    } else if (fs::is_regular_file(status) && IsPictureName(path)) {
      walk.pictures.push_back(path);
    }
  }
}

}  // namespace

bool IsPictureName(const std::string& path) {
  static const std::unordered_set<std::string> kFurtherExtensions = {"webp", "avif", "jxl", "cr3"};
  return IsSupportImage(path) || kFurtherExtensions.count(file::GetFileExt(path)) > 0;
}

SourceWalk WalkFolder(const std::string& folder) {
  SourceWalk walk;
  Walk(folder, walk);
  return walk;
}

}  // namespace vexathumb::service
