#include "service/watch/folder_watch.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "service/base/folder_list.h"

namespace vexathumb::service {
namespace {

constexpr uint32_t kMask = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_FROM |
                           IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr char kPassOverMark[] = ".nomedia";
// The two halves of a move follow one another; other events may come in between.
constexpr std::chrono::milliseconds kMoveTakes{500};

bool IsHidden(const std::string& name) { return name.front() == '.'; }

}  // namespace

FolderWatch::FolderWatch(const std::vector<std::string>& roots, bool cross_file_systems)
    : roots_(roots),
      cross_file_systems_(cross_file_systems),
      queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      mounts_(roots) {
  if (!queue_) throw std::system_error(errno, std::generic_category(), "inotify");
  for (const std::string& root : roots) AddTree(WatchTree::kNone, root);
}

std::vector<FolderEvent> FolderWatch::Take() {
  const Clock::time_point now = Clock::now();
  if (!lost_) ReadQueue();
  if (!lost_) ReturnToRoots();
  GiveUpLeaving(now - kMoveTakes);
  return std::exchange(events_, {});
}

// Watches a folder before it lists it, so that nothing that comes meanwhile is missed.
void FolderWatch::AddTree(int parent, const std::string& name) {
  const bool is_root = parent == WatchTree::kNone;
  const std::string path = is_root ? name : tree_.PathIn(parent, name);
  struct stat st = {};
  const bool is_there = (is_root ? stat : lstat)(path.c_str(), &st) == 0;
  const bool is_other =
      !is_root && !cross_file_systems_ && st.st_dev != tree_.At(parent).file_system;
  if (is_there && is_other) return;
  const uint32_t follow = is_root ? 0 : IN_DONT_FOLLOW;
  const int watch = is_there ? inotify_add_watch(queue_.get(), path.c_str(), kMask | follow) : -1;
  if (watch < 0) return CannotWatch(path, is_root, errno);
  // The same folder may have been known by another name.
  if (!tree_.Has(watch)) {
    tree_.Add(watch, {parent, name, is_root ? st.st_dev : tree_.At(parent).file_system,
                      is_root ? st.st_ino : 0, false});
  } else if (!is_root) {
    tree_.Move(watch, parent, name);
  }
  // What has left came back by another way.
  for (auto& [cookie, left] : leaving_) {
    if (left.folder == watch) left.folder = WatchTree::kNone;
  }
  AddBelow(watch);
}

// Whatever has become of another folder than a named one since is told by a later event.
void FolderWatch::CannotWatch(const std::string& path, bool is_root, int error) {
  const bool has_changed = error == ENOENT || error == ENOTDIR || error == ELOOP;
  if (!is_root && has_changed) return;
  const std::string cause = error == ENOSPC ? "the system watches no more folders; raise "
                                              "fs.inotify.max_user_watches"
                                            : strerror(error);
  events_.push_back({FolderEvent::Kind::kNotWatched, path, "", cause});
}

void FolderWatch::ReturnToRoots() {
  const bool has_changed = mounts_.HasChanged();
  for (const std::string& root : roots_) {
    if (has_changed || absent_.count(root) > 0) ReturnTo(root);
  }
}

// Another volume, or none, may be where it is. In one that is the same a volume may be where a
// folder was, or have left it.
void FolderWatch::ReturnTo(const std::string& root) {
  const int watch = tree_.Child(WatchTree::kNone, root);
  struct stat st = {};
  const bool is_there = stat(root.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  const bool is_same = watch != WatchTree::kNone && is_there &&
                       tree_.At(watch).file_system == st.st_dev &&
                       tree_.At(watch).inode == st.st_ino;
  if (watch != WatchTree::kNone && !is_same) RemoveTree(watch);
  if (!is_there) {
    absent_.insert(root);
    return;
  }
  absent_.erase(root);
  AddTree(WatchTree::kNone, root);
  events_.push_back({FolderEvent::Kind::kFolder, root});
}

// Keeps no folder open while it goes into those below: there may be more than descriptors.
void FolderWatch::AddBelow(int watch) {
  const std::string path = tree_.PathOf(watch);
  posix::UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return CannotWatch(path, false, errno);
  const bool passed_over = faccessat(folder.get(), kPassOverMark, F_OK, 0) == 0;
  tree_.PassOver(watch, passed_over);
  if (passed_over) return;
  const auto names = ListSubfolders(folder.get());
  if (!names) return CannotWatch(path, false, errno);
  folder = posix::UniqueFd();
  for (const std::string& name : *names) {
    if (!IsHidden(name)) AddTree(watch, name);
  }
}

void FolderWatch::RemoveTree(int watch) {
  if (tree_.Has(watch)) EndWatches(tree_.Remove(watch));
}

void FolderWatch::EndWatches(const std::vector<int>& watches) {
  for (const int watch : watches) inotify_rm_watch(queue_.get(), watch);
}

void FolderWatch::ReadQueue() {
  alignas(struct inotify_event) std::array<char, 65536> buffer = {};
  for (;;) {
    const ssize_t size = read(queue_.get(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return;
    for (ssize_t at = 0; at < size;) {
      struct inotify_event event = {};
      memcpy(&event, buffer.data() + at, sizeof(event));
      const char* name = buffer.data() + at + sizeof(event);
      at += static_cast<ssize_t>(sizeof(event) + event.len);
      Handle(event.wd, event.mask, event.cookie, std::string(name, strnlen(name, event.len)));
      if (lost_) return;
    }
  }
}

void FolderWatch::Handle(int watch, uint32_t mask, uint32_t cookie, const std::string& name) {
  if ((mask & IN_Q_OVERFLOW) != 0) {
    lost_ = true;
    events_.push_back({FolderEvent::Kind::kLostTrack, ""});
    return;
  }
  if (!tree_.Has(watch)) return;
  if (name.empty()) return HandleOwn(watch, mask);
  if (name == kPassOverMark) return HandleMark(watch, mask);
  if (tree_.At(watch).passed_over) return;
  if ((mask & IN_MOVED_FROM) != 0) return Leave(watch, cookie, name);
  if ((mask & IN_MOVED_TO) != 0) return Arrive(watch, mask, cookie, name);
  if (IsHidden(name) || (mask & IN_DELETE) != 0) return;
  if ((mask & IN_ISDIR) == 0) {
    events_.push_back({FolderEvent::Kind::kFile, tree_.PathIn(watch, name)});
  } else if ((mask & IN_CREATE) != 0) {
    AddTree(watch, name);
    events_.push_back({FolderEvent::Kind::kFolder, tree_.PathIn(watch, name)});
  }
}

void FolderWatch::HandleOwn(int watch, uint32_t mask) {
  const WatchTree::Folder& folder = tree_.At(watch);
  const bool is_gone = (mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0;
  if (folder.parent == WatchTree::kNone && is_gone) {
    const std::string path = folder.name;
    RemoveTree(watch);
    if ((mask & IN_UNMOUNT) != 0) {
      absent_.insert(path);
      events_.push_back({FolderEvent::Kind::kRootUnmounted, path});
    } else {
      roots_.erase(std::remove(roots_.begin(), roots_.end(), path), roots_.end());
      events_.push_back({FolderEvent::Kind::kRootGone, path});
    }
  } else if ((mask & IN_IGNORED) != 0) {
    RemoveTree(watch);
  }
}

void FolderWatch::HandleMark(int watch, uint32_t mask) {
  const bool passed_over = tree_.At(watch).passed_over;
  if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0 && !passed_over) {
    tree_.PassOver(watch, true);
    EndWatches(tree_.RemoveBelow(watch));
  } else if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0 && passed_over) {
    tree_.PassOver(watch, false);
    AddBelow(watch);
    events_.push_back({FolderEvent::Kind::kFolder, tree_.PathOf(watch)});
  }
}

void FolderWatch::Leave(int watch, uint32_t cookie, const std::string& name) {
  leaving_[cookie] = {tree_.PathIn(watch, name), tree_.Child(watch, name), IsHidden(name),
                      Clock::now()};
}

void FolderWatch::Arrive(int watch, uint32_t mask, uint32_t cookie, const std::string& name) {
  const auto found = leaving_.find(cookie);
  const bool is_known = found != leaving_.end();
  const Leaving left = is_known ? found->second : Leaving();
  if (is_known) leaving_.erase(found);
  if (IsHidden(name)) {
    RemoveTree(left.folder);
    return;
  }
  const std::string path = tree_.PathIn(watch, name);
  const bool from_sight = is_known && !left.is_hidden;
  if ((mask & IN_ISDIR) == 0) {
    if (from_sight) events_.push_back({FolderEvent::Kind::kFileMoved, path, left.path});
    events_.push_back({FolderEvent::Kind::kFile, path});
    return;
  }
  if (tree_.Has(left.folder)) tree_.Move(left.folder, watch, name);
  if (from_sight) events_.push_back({FolderEvent::Kind::kFolderMoved, path, left.path});
  // Also for what came into it under the name that it had then.
  AddTree(watch, name);
  events_.push_back({FolderEvent::Kind::kFolder, path});
}

void FolderWatch::GiveUpLeaving(Clock::time_point before) {
  for (auto left = leaving_.begin(); left != leaving_.end();) {
    if (left->second.since >= before) {
      ++left;
      continue;
    }
    RemoveTree(left->second.folder);
    left = leaving_.erase(left);
  }
}

}  // namespace vexathumb::service
