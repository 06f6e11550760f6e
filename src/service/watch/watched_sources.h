#ifndef VEXATHUMB_SERVICE_WATCH_WATCHED_SOURCES_H_
#define VEXATHUMB_SERVICE_WATCH_WATCHED_SOURCES_H_

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/index/source_feed.h"
#include "service/index/source_walk.h"
#include "service/watch/folder_watch.h"
#include "service/watch/network_folder.h"
#include "service/watch/write_settling.h"

namespace vexathumb::service {

struct WatchOptions {
  std::chrono::milliseconds quiet{2000};  // for which a source must have been left alone
  WalkOptions walk;
  // After how long to look again through folders that other machines write to; 0: never.
  std::chrono::milliseconds look_again = std::chrono::minutes(15);
  std::function<bool(const std::string& folder)> is_on_network = IsOnNetwork;
  std::string lock_directory;
  bool dry_run = false;  // thumbnails stay where they are
};

// What there is to build for below some folders, for as long as these are there: at first
// everything, then what is new, changed or moved, once nobody writes it any more. Thumbnails follow
// their sources (moved_store.h). Where more happens than the system keeps, all is looked through
// again; so is from time to time what lies on a network file system, where the system tells of this
// machine's changes alone.
class WatchedSources : public SourceFeed {
 public:
  // Something that whoever runs this should hear of: a path, which may be empty, and one line.
  using Note = std::function<void(const std::string& path, const std::string& what)>;

  // `folders` are absolute. Throws std::system_error when they cannot be watched at all.
  WatchedSources(std::vector<std::string> folders, WatchOptions options, Note note);

  std::optional<SourceItem> Next() override;
  bool AtEnd() const override { return folders_.empty(); }
  std::chrono::milliseconds AskAgainAfter() const override;

  // Gives a source once more, within a minute, or when it has been written: nothing could be built
  // of it just now.
  void GiveAgain(const std::string& source);

 private:
  void Begin();
  void LookAgainWhereOthersWrite();
  void Follow(const FolderEvent& event);
  void FollowMove(const FolderEvent& event);
  std::optional<SourceItem> LookThrough();
  bool IsWanted(const std::string& path) const;
  std::string RootOf(const std::string& path) const;

  std::vector<std::string> folders_;
  const WatchOptions options_;
  const Note note_;
  std::optional<FolderWatch> watch_;
  WriteSettling settling_;
  std::deque<std::string> to_look_through_;
  std::optional<SourceWalk> walk_;
  WriteSettling::Clock::time_point next_look_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_WATCHED_SOURCES_H_
