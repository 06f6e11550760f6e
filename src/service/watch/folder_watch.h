#ifndef VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_
#define VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/base/descriptor.h"

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
    kRootGone,     // a watched folder that was named has been removed, moved or unmounted
  };
  Kind kind;
  std::string path;
  std::string from = {};   // where it was moved from
  std::string cause = {};  // why it cannot be watched
};

// Watches folders and all below them, by inotify: but hidden entries, links, other file systems,
// and folders in which a file ".nomedia" asks for it. After kLostTrack it is of no further use; a
// new one sees what is there then.
class FolderWatch {
 public:
  // `roots` are absolute. Throws std::system_error when the system gives no further queue.
  FolderWatch(const std::vector<std::string>& roots, bool cross_file_systems);

  // What happened since the last call, in its order. Waits for nothing.
  std::vector<FolderEvent> Take();

 private:
  using Clock = std::chrono::steady_clock;

  // A watched folder, by the number that the system gave its watch.
  struct Folder {
    int parent = -1;
    std::string name;          // of a root, its path
    dev_t file_system = 0;     // of its root
    bool passed_over = false;  // by ".nomedia"
  };
  // One that has left a name and may arrive at another.
  struct Leaving {
    std::string path;
    int folder = -1;  // its watch, if it is a folder
    bool is_hidden = false;
    Clock::time_point since;
  };

  std::string PathOf(int watch) const;
  void AddTree(int parent, const std::string& name, dev_t file_system);
  void AddBelow(int watch);
  void RemoveTree(int watch);
  void Forget(int watch);
  void Rename(int watch, int parent, const std::string& name);

  void ReadQueue();
  void Handle(int watch, uint32_t mask, uint32_t cookie, const std::string& name);
  void HandleMark(int watch, uint32_t mask);
  void HandleOwn(int watch, uint32_t mask);
  void Leave(int watch, uint32_t cookie, const std::string& name);
  void Arrive(int watch, uint32_t mask, uint32_t cookie, const std::string& name);
  void GiveUpLeaving(Clock::time_point before);

  const bool cross_file_systems_;
  Descriptor queue_;
  std::map<int, Folder> folders_;
  std::map<std::pair<int, std::string>, int> children_;  // by parent and name
  std::map<uint32_t, Leaving> leaving_;                  // by the move's number
  std::vector<FolderEvent> events_;
  bool lost_ = false;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_FOLDER_WATCH_H_
