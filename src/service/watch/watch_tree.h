#ifndef VEXATHUMB_SERVICE_WATCH_WATCH_TREE_H_
#define VEXATHUMB_SERVICE_WATCH_WATCH_TREE_H_

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vexathumb::service {

// Which folders are watched, and how they lie in one another: so each is known by the number of its
// watch, and a folder that moves takes all below it along. Asks the system nothing.
class WatchTree {
 public:
  static constexpr int kNone = -1;

  struct Folder {
    int parent = kNone;        // the watch of the folder that it lies in; none of a root
    std::string name;          // of a root, its path
    dev_t file_system = 0;     // of its root
    ino_t inode = 0;           // of a root
    bool passed_over = false;  // nothing in it is of interest
  };

  // The watch must not be known, its parent must be.
  void Add(int watch, const Folder& folder);

  bool Has(int watch) const { return folders_.count(watch) > 0; }

  // All that follow need a watch that is known.
  const Folder& At(int watch) const { return folders_.at(watch); }
  void PassOver(int watch, bool passed_over) { folders_.at(watch).passed_over = passed_over; }
  std::string PathOf(int watch) const;
  std::string PathIn(int watch, const std::string& name) const;

  // The folder of this name in another; kNone when none is watched.
  int Child(int parent, const std::string& name) const;

  // It lies in another folder, or under another name, with all below it.
  void Move(int watch, int parent, const std::string& name);

  // Forgets the folder and all below it. Returns their watches, each before that of its parent.
  std::vector<int> Remove(int watch);
  std::vector<int> RemoveBelow(int watch);

 private:
  void RemoveName(int watch);

  std::map<int, Folder> folders_;
  std::map<std::pair<int, std::string>, int> children_;  // by parent and name
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_WATCH_TREE_H_
