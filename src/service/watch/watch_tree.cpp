#include "service/watch/watch_tree.h"

namespace vexathumb::service {

void WatchTree::Add(int watch, const Folder& folder) {
  folders_[watch] = folder;
  children_[{folder.parent, folder.name}] = watch;
}

std::string WatchTree::PathOf(int watch) const {
  const Folder& folder = folders_.at(watch);
  return folder.parent == kNone ? folder.name : PathIn(folder.parent, folder.name);
}

std::string WatchTree::PathIn(int watch, const std::string& name) const {
  const std::string folder = PathOf(watch);
  return folder.back() == '/' ? folder + name : folder + "/" + name;
}

int WatchTree::Child(int parent, const std::string& name) const {
  const auto child = children_.find({parent, name});
  return child == children_.end() ? kNone : child->second;
}

void WatchTree::Move(int watch, int parent, const std::string& name) {
  RemoveName(watch);
  Folder& folder = folders_.at(watch);
  folder.parent = parent;
  folder.name = name;
  children_[{parent, name}] = watch;
}

std::vector<int> WatchTree::Remove(int watch) {
  std::vector<int> removed = RemoveBelow(watch);
  RemoveName(watch);
  folders_.erase(watch);
  removed.push_back(watch);
  return removed;
}

std::vector<int> WatchTree::RemoveBelow(int watch) {
  std::vector<int> below;
  for (auto child = children_.lower_bound({watch, ""});
       child != children_.end() && child->first.first == watch; ++child) {
    below.push_back(child->second);
  }
  std::vector<int> removed;
  for (const int child : below) {
    const std::vector<int> with_it = Remove(child);
    removed.insert(removed.end(), with_it.begin(), with_it.end());
  }
  return removed;
}

// Another folder may have taken its name.
void WatchTree::RemoveName(int watch) {
  const Folder& folder = folders_.at(watch);
  const auto child = children_.find({folder.parent, folder.name});
  if (child != children_.end() && child->second == watch) children_.erase(child);
}

}  // namespace vexathumb::service
