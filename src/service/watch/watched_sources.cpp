#include "service/watch/watched_sources.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <system_error>
#include <utility>

#include "posix/error_text.h"
#include "service/base/machine_error.h"
#include "service/base/path_name.h"
#include "service/picture/media_names.h"
#include "service/store/moved_store.h"

namespace vexathumb::service {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kUntilLookingForEvents{250};
constexpr std::chrono::seconds kUntilGivingAgain{45};

}  // namespace

WatchedSources::WatchedSources(std::vector<std::string> folders, WatchOptions options, Note note)
    : folders_(std::move(folders)),
      options_(std::move(options)),
      note_(std::move(note)),
      settling_(options_.quiet) {
  Begin();
}

std::optional<SourceItem> WatchedSources::Next() {
  for (const FolderEvent& event : watch_->Take()) Follow(event);
  LookAgainWhereOthersWrite();
  if (auto path = settling_.Take(WriteSettling::Clock::now())) {
    struct stat st = {};
    if (lstat(path->c_str(), &st) == 0 || IsMachineError(errno)) {
      return SourceItem{SourceItem::Kind::kSource, std::move(*path), st.st_size, ""};
    }
  }
  return LookThrough();
}

milliseconds WatchedSources::AskAgainAfter() const {
  const bool has_more = walk_ || !to_look_through_.empty();
  return has_more ? milliseconds(1) : kUntilLookingForEvents;
}

void WatchedSources::GiveAgain(const std::string& source) {
  if (settling_.Has(source)) return;
  settling_.Touch(source, WriteSettling::Clock::now() + kUntilGivingAgain);
}

// Watches first and looks through afterwards, so that nothing falls in between.
void WatchedSources::Begin() {
  watch_.emplace(folders_, options_.walk.cross_file_systems);
  walk_.reset();
  to_look_through_.assign(folders_.begin(), folders_.end());
  next_look_ = WriteSettling::Clock::now() + options_.look_again;
}

void WatchedSources::LookAgainWhereOthersWrite() {
  const auto now = WriteSettling::Clock::now();
  const bool is_done = !walk_ && to_look_through_.empty();
  if (options_.look_again.count() == 0 || now < next_look_ || !is_done) return;
  std::copy_if(folders_.begin(), folders_.end(), std::back_inserter(to_look_through_),
               options_.is_on_network);
  next_look_ = now + options_.look_again;
}

void WatchedSources::Follow(const FolderEvent& event) {
  switch (event.kind) {
    case FolderEvent::Kind::kFile:
      if (IsWanted(event.path)) settling_.Touch(event.path, WriteSettling::Clock::now());
      break;
    case FolderEvent::Kind::kFileMoved:
    case FolderEvent::Kind::kFolderMoved:
      FollowMove(event);
      break;
    case FolderEvent::Kind::kFolder:
      to_look_through_.push_back(event.path);
      break;
    case FolderEvent::Kind::kLostTrack:
      note_("", "more has happened at once than the system keeps; looking through everything");
      Begin();
      break;
    case FolderEvent::Kind::kNotWatched:
      note_(event.path, event.cause);
      break;
    case FolderEvent::Kind::kRootUnmounted:
      note_(event.path, "is not mounted any more; watched again when it is");
      break;
    case FolderEvent::Kind::kRootGone:
      note_(event.path, "is gone");
      folders_.erase(std::remove(folders_.begin(), folders_.end(), event.path), folders_.end());
      to_look_through_.erase(
          std::remove(to_look_through_.begin(), to_look_through_.end(), event.path),
          to_look_through_.end());
      break;
  }
}

void WatchedSources::FollowMove(const FolderEvent& event) {
  if (options_.dry_run) return;
  try {
    if (event.kind == FolderEvent::Kind::kFolderMoved) {
      MoveStoreOfFolder(RootOf(event.path), event.from, event.path);
    } else if (IsWanted(event.path)) {
      MoveStoreOfFile(RootOf(event.path), event.from, event.path, options_.lock_directory);
    }
  } catch (const std::system_error& error) {
    note_(event.path, std::string("its thumbnails are made anew: ") + error.what());
  }
}

// What was modified just now may be written still.
std::optional<SourceItem> WatchedSources::LookThrough() {
  for (;;) {
    if (!walk_) {
      if (to_look_through_.empty()) return std::nullopt;
      walk_.emplace(to_look_through_.front(), options_.walk);
      to_look_through_.pop_front();
    }
    auto file = walk_->Next();
    for (const UnreadableFolder& folder : walk_->TakeUnreadable()) {
      note_(folder.path, posix::TextOfError(folder.error));
    }
    if (!file) {
      if (walk_->AtEnd()) walk_.reset();
      return std::nullopt;
    }
    struct stat st = {};
    if (lstat(file->path.c_str(), &st) != 0) continue;
    const auto age = std::chrono::seconds(time(nullptr) - std::max(st.st_mtime, st.st_ctime));
    if (age > options_.quiet) {
      return SourceItem{SourceItem::Kind::kSource, std::move(file->path), st.st_size, ""};
    }
    settling_.Touch(file->path, WriteSettling::Clock::now());
  }
}

bool WatchedSources::IsWanted(const std::string& path) const {
  const MediaKind kind = MediaKindOf(LastComponent(path));
  return kind == MediaKind::kPicture || (kind == MediaKind::kVideo && options_.walk.videos);
}

std::string WatchedSources::RootOf(const std::string& path) const {
  const auto root = std::find_if(folders_.begin(), folders_.end(), [&path](const auto& folder) {
    return folder == "/" || path.rfind(folder + "/", 0) == 0;
  });
  return root == folders_.end() ? path : *root;
}

}  // namespace vexathumb::service
