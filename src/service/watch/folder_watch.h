#ifndef VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_
#define VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "posix/unique_fd.h"
#include "service/watch/mount_table.h"
#include "service/watch/watch_tree.h"

namespace vexathumb::service {

// What happened below a watched folder.
struct FolderEvent {
  enum class Kind {
    kFile,         // a file was made, written, or given other times
    kFileMoved,    // from one name to another, both watched
    kFolder,       // a folder has appeared: what is in it may have been there before it was watched
    kFolderMoved,  // the same folder, from one name to another; kFolder follows
    kLostTrack,    // more happened than the system keeps: nothing is known of what changed
    kNotWatched,   // a folder cannot be watched
    kRootGone,     // a watched folder that was named has been removed or moved
    kRootUnmounted,  // one that may come again, as what kFolder tells of
  };
  Kind kind;
  std::string path;
  std::string from = {};   // where it was moved from
  std::string cause = {};  // why it cannot be watched
};

// Watches folders and all below them, by inotify: but hidden entries, links, other file systems,
// and folders in which a file ".nomedia" asks for it. What is mounted over or below a named folder
// later, or once more, is watched from then on. After kLostTrack it is of no further use; a
// new one sees what is there then.
class FolderWatch {
 public:
  // `roots` are absolute. Throws std::system_error when the system gives no further queue.
  FolderWatch(const std::vector<std::string>& roots, bool cross_file_systems);

  // What happened since the last call, in its order. Waits for nothing.
  std::vector<FolderEvent> Take();

 private:
  using Clock = std::chrono::steady_clock;

  // One that has left a name and may arrive at another.
  struct Leaving {
    std::string path;
    int folder = WatchTree::kNone;  // its watch, if it is a folder
    bool is_hidden = false;
    Clock::time_point since;
  };

  void AddTree(int parent, const std::string& name);
  void AddBelow(int watch);
  void ReturnToRoots();
  void ReturnTo(const std::string& root);
  void CannotWatch(const std::string& path, bool is_root, int error);
  void RemoveTree(int watch);
  void EndWatches(const std::vector<int>& watches);

  void ReadQueue();
  void Handle(int watch, uint32_t mask, uint32_t cookie, const std::string& name);
  void HandleMark(int watch, uint32_t mask);
  void HandleOwn(int watch, uint32_t mask);
  void Leave(int watch, uint32_t cookie, const std::string& name);
  void Arrive(int watch, uint32_t mask, uint32_t cookie, const std::string& name);
  void GiveUpLeaving(Clock::time_point before);

  std::vector<std::string> roots_;  // but those that are gone for good
  std::set<std::string> absent_;    // of them, since a volume was unmounted
  const bool cross_file_systems_;
  posix::UniqueFd queue_;
  MountTable mounts_;
  WatchTree tree_;
  std::map<uint32_t, Leaving> leaving_;  // by the move's number
  std::vector<FolderEvent> events_;
  bool lost_ = false;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_
