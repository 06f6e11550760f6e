#include "service/store/store_walk.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "common/util/util.h"
#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/base/path_name.h"
#include "service/store/store_files.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

// The name of the folders that hold store directories, as the platform has it.
std::string HiddenFolderIn(const std::string& folder) {
  const std::string hidden = file::Dirname(StoreDirectoryOf(folder + "/x"));
  return LastComponent(hidden);
}

std::string Join(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  if (name.empty()) return folder;
  return folder.back() == '/' ? folder + name : folder + "/" + name;
}

bool SaysGone(int error) { return error == ENOENT || error == ENOTDIR; }

// One folder of a share, or one of the mirror of a share under a root, and all below it.
class Walk {
 public:
  Walk(std::string sources, std::string place, std::string hidden, StoreVisitor& visitor)
      : sources_(std::move(sources)),
        place_(std::move(place)),
        hidden_(std::move(hidden)),
        visitor_(visitor) {}

  // `only`: the one file whose store directory counts; empty for everything.
  void Begin(const std::string& only) {
    posix::UniqueFd stores(open(place_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat st = {};
    if (!stores || fstat(stores.get(), &st) != 0) {
      if (!SaysGone(errno) || IsBeside()) visitor_.CannotRead(place_, strerror(errno));
      return;
    }
    store_device_ = st.st_dev;
    posix::UniqueFd sources(open(sources_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!sources || fstat(sources.get(), &st) != 0) {
      visitor_.CannotRead(sources_, strerror(errno));
      return;
    }
    source_device_ = st.st_dev;
    if (only.empty()) {
      Go(stores.get(), sources.get(), "");
    } else {
      visitor_.Enter(sources_);
      VisitOne(stores.get(), sources.get(), only);
      visitor_.Leave(sources_);
    }
  }

  // Another place that is not gone into.
  void Except(const struct stat& folder) { except_ = folder; }

 private:
  bool IsBeside() const { return sources_ == place_; }

  // `sources` is -1 where that folder is gone.
  void Go(int stores, int sources, const std::string& relative) {
    visitor_.Enter(Join(sources_, relative));
    if (const auto folders = ListSubfolders(stores)) {
      for (const std::string& name : *folders) {
        if (name == hidden_) {
          VisitAll(stores, sources, relative);
        } else if (name.front() != '.') {
          GoInto(stores, sources, name, Join(relative, name));
        }
      }
    } else {
      visitor_.CannotRead(Join(place_, relative), strerror(errno));
    }
    visitor_.Leave(Join(sources_, relative));
  }

  void GoInto(int stores, int sources, const std::string& name, const std::string& relative) {
    const posix::UniqueFd store(
        openat(stores, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st = {};
    if (!store || fstat(store.get(), &st) != 0) {
      // Somebody may have removed it, or put a link in its place, since it was listed.
      if (!SaysGone(errno) && errno != ELOOP) {
        visitor_.CannotRead(Join(place_, relative), strerror(errno));
      }
      return;
    }
    const bool is_excepted = st.st_dev == except_.st_dev && st.st_ino == except_.st_ino;
    if (st.st_dev != store_device_ || is_excepted) return;
    if (IsBeside()) return Go(store.get(), store.get(), relative);
    if (sources < 0) return Go(store.get(), -1, relative);
    // A share's folders may be links.
    const posix::UniqueFd source(openat(sources, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!source && !SaysGone(errno)) {
      visitor_.CannotRead(Join(sources_, relative), strerror(errno));
      return;
    }
    if (source && (fstat(source.get(), &st) != 0 || st.st_dev != source_device_)) return;
    Go(store.get(), source.get(), relative);
  }

  void VisitAll(int stores, int sources, const std::string& relative) {
    const posix::UniqueFd hidden(
        openat(stores, hidden_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto names = hidden ? ListSubfolders(hidden.get()) : std::nullopt;
    if (!names) {
      if (!SaysGone(errno) && errno != ELOOP) {
        visitor_.CannotRead(Join(Join(place_, relative), hidden_), strerror(errno));
      }
      return;
    }
    for (const std::string& name : *names) Visit(sources, relative, name);
  }

  void VisitOne(int stores, int sources, const std::string& name) {
    const posix::UniqueFd hidden(
        openat(stores, hidden_.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st = {};
    if (hidden && fstatat(hidden.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISDIR(st.st_mode)) {
      Visit(sources, "", name);
    }
  }

  void Visit(int sources, const std::string& relative, const std::string& name) {
    StoreDirectory directory;
    directory.source = Join(Join(sources_, relative), name);
    directory.place = place_;
    directory.relative = Join(Join(relative, hidden_), name);
    directory.beside = IsBeside();
    if (sources < 0) {
      directory.source_gone = true;
    } else if (struct stat st = {}; fstatat(sources, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
      if (!SaysGone(errno)) return visitor_.CannotRead(directory.source, strerror(errno));
      directory.source_gone = true;
    }
    visitor_.Visit(directory);
  }

  std::string sources_;
  std::string place_;
  std::string hidden_;
  StoreVisitor& visitor_;
  dev_t store_device_ = 0;
  dev_t source_device_ = 0;
  struct stat except_ = {};
};

}  // namespace

void WalkStores(const std::string& path, StoreVisitor& visitor) {
  std::error_code error;
  const bool is_folder = std::filesystem::is_directory(path, error);
  const std::string folder = is_folder ? path : file::Dirname(path);
  const std::string only = is_folder ? "" : LastComponent(path);
  const std::string hidden = HiddenFolderIn(folder);
  const std::string root = vexaplatform::CurrentSettings()->root;

  Walk beside(folder, folder, hidden, visitor);
  struct stat st = {};
  if (stat(root.c_str(), &st) == 0) beside.Except(st);
  beside.Begin(only);
  Walk(folder, root + (folder == "/" ? "" : folder), hidden, visitor).Begin(only);
}

bool IsInStoreRoot(const std::string& path) {
  std::error_code error;
  const std::string root =
      std::filesystem::weakly_canonical(vexaplatform::CurrentSettings()->root, error).string() +
      "/";
  return (std::filesystem::weakly_canonical(path, error).string() + "/").rfind(root, 0) == 0;
}

}  // namespace vexathumb::service
