#include "service/store/store_removal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "common/util/util.h"
#include "posix/open_beneath.h"
#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/base/path_name.h"
#include "service/store/build_slot.h"
#include "service/store/store_names.h"
#include "service/store/sweeping.h"

namespace vexathumb::service {
namespace {

posix::UniqueFd OpenPlace(const StoreDirectory& directory) {
  return posix::UniqueFd(open(directory.place.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

void RemoveFile(int folder, const FolderEntry& entry, bool dry_run, Freed* freed) {
  if (!dry_run && unlinkat(folder, entry.name.c_str(), 0) != 0) return;
  ++freed->files;
  freed->bytes += static_cast<uint64_t>(entry.status.st_size);
}

bool IsGone(const std::string& path) {
  struct stat st = {};
  return lstat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// Where store and source lie in one folder, that very folder is asked.
bool IsSourceStillGone(const StoreDirectory& directory, int hidden) {
  if (!directory.beside) return IsGone(directory.source);
  const std::string name = LastComponent(directory.source);
  struct stat st = {};
  return fstatat(hidden, ("../" + name).c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

// From a store's hidden folder upwards. Nobody builds in the mirror of a folder that is gone.
void RemoveEmptyMirror(const StoreDirectory& directory, int place) {
  std::string mirror = file::Dirname(directory.relative);
  std::string folder = file::Dirname(directory.source);
  while (mirror != "." && IsGone(folder)) {
    const posix::UniqueFd parent =
        posix::OpenBeneath(place, file::Dirname(mirror), O_PATH | O_DIRECTORY);
    const std::string name = LastComponent(mirror);
    if (!parent || unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR) != 0) return;
    mirror = file::Dirname(mirror);
    // The hidden folder is no folder of the sources.
    if (name.front() != '.') folder = file::Dirname(folder);
  }
}

}  // namespace

Freed& Freed::operator+=(const Freed& other) {
  directories += other.directories;
  files += other.files;
  bytes += other.bytes;
  kept_foreign = kept_foreign || other.kept_foreign;
  return *this;
}

Freed RemoveOrphan(const StoreDirectory& directory, const RemovalOptions& options) {
  Freed freed;
  const SourceLock lock(options.lock_directory, directory.source);
  const posix::UniqueFd place = OpenPlace(directory);
  const posix::UniqueFd hidden =
      posix::OpenBeneath(place.get(), file::Dirname(directory.relative), O_PATH | O_DIRECTORY);
  if (!hidden || !IsSourceStillGone(directory, hidden.get())) return freed;
  const std::string name = LastComponent(directory.source);
  const posix::UniqueFd store = posix::OpenBeneath(hidden.get(), name, O_RDONLY | O_DIRECTORY);
  const auto entries = store ? ListFolder(store.get()) : std::nullopt;
  if (!entries) return freed;
  // With anything else in it, it may be a user's own folder.
  freed.kept_foreign = !std::all_of(entries->begin(), entries->end(), [](const FolderEntry& entry) {
    return S_ISREG(entry.status.st_mode) && IsDerived(entry.name);
  });
  if (freed.kept_foreign) return freed;
  for (const FolderEntry& entry : *entries) {
    RemoveFile(store.get(), entry, options.dry_run, &freed);
  }
  if (options.dry_run || unlinkat(hidden.get(), name.c_str(), AT_REMOVEDIR) == 0) {
    ++freed.directories;
  }
  if (!options.dry_run && !directory.beside) RemoveEmptyMirror(directory, place.get());
  return freed;
}

Freed RemoveLeftovers(const StoreDirectory& directory, const RemovalOptions& options) {
  Freed freed;
  const posix::UniqueFd place = OpenPlace(directory);
  const posix::UniqueFd store =
      posix::OpenBeneath(place.get(), directory.relative, O_RDONLY | O_DIRECTORY);
  const auto entries = store ? ListFolder(store.get()) : std::nullopt;
  if (!entries) return freed;
  FolderClock clock = options.dry_run ? FolderClock::OfThisMachine()
                                      : FolderClock("/proc/self/fd/" + std::to_string(store.get()));
  std::optional<SourceLock> lock;  // taken by the first that there is anything to do for
  for (FolderEntry entry : *entries) {
    if (!IsStoreLeftover(entry.name, entry.status, &clock)) continue;
    if (!lock) lock.emplace(options.lock_directory, directory.source);
    // Whoever had the lock before may have made one of the same name.
    if (fstatat(store.get(), entry.name.c_str(), &entry.status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !IsStoreLeftover(entry.name, entry.status, &clock)) {
      continue;
    }
    RemoveFile(store.get(), entry, options.dry_run, &freed);
  }
  return freed;
}

bool RemoveEntry(const StoreDirectory& directory, const std::string& name,
                 const std::string& lock_directory) {
  const SourceLock lock(lock_directory, directory.source);
  const posix::UniqueFd place = OpenPlace(directory);
  const posix::UniqueFd store =
      posix::OpenBeneath(place.get(), directory.relative, O_PATH | O_DIRECTORY);
  return store && unlinkat(store.get(), name.c_str(), 0) == 0;
}

}  // namespace vexathumb::service
