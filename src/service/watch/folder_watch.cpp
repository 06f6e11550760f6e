#include "service/watch/folder_watch.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

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

std::string Join(const std::string& folder, const std::string& name) {
  return folder.back() == '/' ? folder + name : folder + "/" + name;
}

bool IsHidden(const std::string& name) { return name.front() == '.'; }

}  // namespace

FolderWatch::FolderWatch(const std::vector<std::string>& roots, bool cross_file_systems)
    : cross_file_systems_(cross_file_systems), queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (!queue_) throw std::system_error(errno, std::generic_category(), "inotify");
  for (const std::string& root : roots) AddTree(-1, root, 0);
}

std::vector<FolderEvent> FolderWatch::Take() {
  const Clock::time_point now = Clock::now();
  if (!lost_) ReadQueue();
  GiveUpLeaving(now - kMoveTakes);
  return std::exchange(events_, {});
}

std::string FolderWatch::PathOf(int watch) const {
  const Folder& folder = folders_.at(watch);
  return folder.parent < 0 ? folder.name : Join(PathOf(folder.parent), folder.name);
}

// Watches a folder before it lists it, so that nothing that comes meanwhile is missed.
void FolderWatch::AddTree(int parent, const std::string& name, dev_t file_system) {
  const std::string path = parent < 0 ? name : Join(PathOf(parent), name);
  const uint32_t follow = parent < 0 ? 0 : IN_DONT_FOLLOW;
  struct stat st = {};
  const bool is_there = (parent < 0 ? stat : lstat)(path.c_str(), &st) == 0;
  const bool is_other = parent >= 0 && !cross_file_systems_ && st.st_dev != file_system;
  if (is_there && is_other) return;
  const int watch = is_there ? inotify_add_watch(queue_.get(), path.c_str(), kMask | follow) : -1;
  if (watch < 0) {
    // Whatever has become of it since is told by a later event.
    const bool has_changed = errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
    if (parent >= 0 && has_changed) return;
    const std::string cause = errno == ENOSPC ? "the system watches no more folders; raise "
                                                "fs.inotify.max_user_watches"
                                              : strerror(errno);
    events_.push_back({FolderEvent::Kind::kNotWatched, path, "", cause});
    return;
  }
  // The same folder may have been known by another name.
  if (folders_.count(watch) > 0) {
    if (parent >= 0) Rename(watch, parent, name);
  } else {
    folders_[watch] = {parent, name, parent < 0 ? st.st_dev : file_system, false};
    children_[{parent, name}] = watch;
  }
  AddBelow(watch);
}

void FolderWatch::AddBelow(int watch) {
  const std::string path = PathOf(watch);
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return;
  const bool passed_over = faccessat(folder.get(), kPassOverMark, F_OK, 0) == 0;
  folders_.at(watch).passed_over = passed_over;
  if (passed_over) return;
  const auto names = ListSubfolders(folder.get());
  if (!names) return;
  const dev_t file_system = folders_.at(watch).file_system;
  for (const std::string& name : *names) {
    if (!IsHidden(name)) AddTree(watch, name, file_system);
  }
}

void FolderWatch::RemoveTree(int watch) {
  std::vector<int> below;
  const std::pair<int, std::string> first{watch, ""};
  for (auto child = children_.lower_bound(first);
       child != children_.end() && child->first.first == watch; ++child) {
    below.push_back(child->second);
  }
  for (const int child : below) RemoveTree(child);
  inotify_rm_watch(queue_.get(), watch);
  Forget(watch);
}

void FolderWatch::Forget(int watch) {
  const auto folder = folders_.find(watch);
  if (folder == folders_.end()) return;
  const auto child = children_.find({folder->second.parent, folder->second.name});
  if (child != children_.end() && child->second == watch) children_.erase(child);
  folders_.erase(folder);
}

void FolderWatch::Rename(int watch, int parent, const std::string& name) {
  Folder& folder = folders_.at(watch);
  const auto child = children_.find({folder.parent, folder.name});
  if (child != children_.end() && child->second == watch) children_.erase(child);
  folder.parent = parent;
  folder.name = name;
  children_[{parent, name}] = watch;
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
  const auto folder = folders_.find(watch);
  if (folder == folders_.end()) return;
  if (name.empty()) return HandleOwn(watch, mask);
  if (name == kPassOverMark) return HandleMark(watch, mask);
  if (folder->second.passed_over) return;
  if ((mask & IN_MOVED_FROM) != 0) return Leave(watch, cookie, name);
  if ((mask & IN_MOVED_TO) != 0) return Arrive(watch, mask, cookie, name);
  if (IsHidden(name) || (mask & IN_DELETE) != 0) return;
  if ((mask & IN_ISDIR) == 0) {
    events_.push_back({FolderEvent::Kind::kFile, Join(PathOf(watch), name)});
  } else if ((mask & IN_CREATE) != 0) {
    AddTree(watch, name, folder->second.file_system);
    events_.push_back({FolderEvent::Kind::kFolder, Join(PathOf(watch), name)});
  }
}

void FolderWatch::HandleOwn(int watch, uint32_t mask) {
  const Folder& folder = folders_.at(watch);
  const bool is_gone = (mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0;
  if (folder.parent < 0 && is_gone) {
    const std::string path = folder.name;
    RemoveTree(watch);
    events_.push_back({FolderEvent::Kind::kRootGone, path});
  } else if ((mask & IN_IGNORED) != 0) {
    RemoveTree(watch);
  }
}

void FolderWatch::HandleMark(int watch, uint32_t mask) {
  Folder& folder = folders_.at(watch);
  if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0 && !folder.passed_over) {
    folder.passed_over = true;
    std::vector<int> below;
    for (const auto& [key, child] : children_) {
      if (key.first == watch) below.push_back(child);
    }
    for (const int child : below) RemoveTree(child);
  } else if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0 && folder.passed_over) {
    folder.passed_over = false;
    AddBelow(watch);
    events_.push_back({FolderEvent::Kind::kFolder, PathOf(watch)});
  }
}

void FolderWatch::Leave(int watch, uint32_t cookie, const std::string& name) {
  const auto child = children_.find({watch, name});
  leaving_[cookie] = {Join(PathOf(watch), name), child == children_.end() ? -1 : child->second,
                      IsHidden(name), Clock::now()};
}

void FolderWatch::Arrive(int watch, uint32_t mask, uint32_t cookie, const std::string& name) {
  const auto found = leaving_.find(cookie);
  const bool is_known = found != leaving_.end();
  const Leaving left = is_known ? found->second : Leaving();
  if (is_known) leaving_.erase(found);
  if (IsHidden(name)) {
    if (left.folder >= 0) RemoveTree(left.folder);
    return;
  }
  const std::string path = Join(PathOf(watch), name);
  const bool from_sight = is_known && !left.is_hidden;
  if ((mask & IN_ISDIR) == 0) {
    if (from_sight) events_.push_back({FolderEvent::Kind::kFileMoved, path, left.path});
    events_.push_back({FolderEvent::Kind::kFile, path});
    return;
  }
  if (left.folder >= 0 && folders_.count(left.folder) > 0) Rename(left.folder, watch, name);
  if (from_sight) events_.push_back({FolderEvent::Kind::kFolderMoved, path, left.path});
  // Also for what came into it under the name that it had then.
  AddTree(watch, name, folders_.at(watch).file_system);
  events_.push_back({FolderEvent::Kind::kFolder, path});
}

void FolderWatch::GiveUpLeaving(Clock::time_point before) {
  for (auto left = leaving_.begin(); left != leaving_.end();) {
    if (left->second.since >= before) {
      ++left;
      continue;
    }
    if (left->second.folder >= 0 && folders_.count(left->second.folder) > 0) {
      RemoveTree(left->second.folder);
    }
    left = leaving_.erase(left);
  }
}

}  // namespace vexathumb::service
