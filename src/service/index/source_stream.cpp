#include "service/index/source_stream.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "posix/error_text.h"
#include "service/base/machine_error.h"
#include "service/base/source_path.h"
#include "service/picture/media_names.h"

namespace vexathumb::service {
namespace {

// Whoever lists all files of a share lists those of the stores too.
bool IsHidden(const std::string& path) {
  for (const std::filesystem::path& part : std::filesystem::path(path)) {
    if (!part.empty() && part.native().front() == '.' && part != "." && part != "..") return true;
  }
  return false;
}

}  // namespace

SourceStream::SourceStream(const std::vector<std::string>& names, std::unique_ptr<PathList> list,
                           const WalkOptions& options)
    : options_(options), list_(std::move(list)) {
  for (const std::string& name : names) {
    std::string path = AbsolutePath(name);
    if (options_.except.insert(path).second) names_.push_back({std::move(path), false});
  }
}

std::optional<SourceStream::Item> SourceStream::Next() {
  for (;;) {
    if (!waiting_.empty()) {
      Item item = std::move(waiting_.front());
      waiting_.pop_front();
      return item;
    }
    if (walk_) {
      auto file = walk_->Next();
      for (const UnreadableFolder& folder : walk_->TakeUnreadable()) {
        waiting_.push_back({Item::Kind::kUnreadableFolder,
                            folder.path,
                            0,
                            posix::TextOfError(folder.error),
                            {},
                            IsMachineError(folder.error)});
      }
      if (file) {
        waiting_.push_back(
            {Item::Kind::kSource, std::move(file->path), file->bytes, "", file->modified});
      }
      if (walk_->AtEnd()) {
        walk_.reset();
      } else if (waiting_.empty()) {
        return std::nullopt;
      }
      continue;
    }
    while (names_.empty() && list_) {
      const auto path = list_->Next();
      if (!path) break;
      if (!IsHidden(*path)) names_.push_back({AbsolutePath(*path), true});
    }
    if (names_.empty()) return std::nullopt;
    const Name name = std::move(names_.front());
    names_.pop_front();
    if (auto item = Begin(name)) return item;
  }
}

bool SourceStream::AtEnd() const {
  return waiting_.empty() && !walk_ && names_.empty() && (!list_ || list_->AtEnd());
}

std::optional<SourceStream::Item> SourceStream::Begin(const Name& name) {
  struct stat st = {};
  const bool is_there = stat(name.path.c_str(), &st) == 0;
  const bool is_machine_error = !is_there && IsMachineError(errno);
  if (is_there && S_ISDIR(st.st_mode)) {
    walk_.emplace(name.path, options_);
    return std::nullopt;
  }
  const MediaKind kind = MediaKindOf(name.path);
  if (kind == MediaKind::kVideo && !options_.videos && is_there) return std::nullopt;
  if (kind == MediaKind::kNone && name.from_list) return std::nullopt;
  const std::string cause = WhyUnreadable(name.path);
  if (!cause.empty()) return Item{Item::Kind::kMissing, name.path, 0, cause, {}, is_machine_error};
  return Item{Item::Kind::kSource, name.path, st.st_size, "", st.st_mtim};
}

}  // namespace vexathumb::service
