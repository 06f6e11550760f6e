#include "service/store/free_boxes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "posix/open_beneath.h"
#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/base/lock_file.h"
#include "service/base/path_name.h"
#include "service/store/store_files.h"
#include "service/store/store_names.h"

namespace vexathumb::service {
namespace {

// Seconds: with the status the tag changes, by which browsers know what they have.
constexpr time_t kBetweenNotes = time_t{24} * 60 * 60;

bool IsStoredFreeBox(const FolderEntry& entry) {
  return S_ISREG(entry.status.st_mode) && IsFreeBox(entry.name);
}

bool WasUsedEarlier(const struct timespec& one, const struct timespec& other) {
  return std::pair(one.tv_sec, one.tv_nsec) < std::pair(other.tv_sec, other.tv_nsec);
}

std::vector<FolderEntry> FreeBoxesIn(int folder) {
  std::vector<FolderEntry> boxes = ListFolder(folder).value_or(std::vector<FolderEntry>());
  boxes.erase(std::remove_if(boxes.begin(), boxes.end(),
                             [](const FolderEntry& entry) { return !IsStoredFreeBox(entry); }),
              boxes.end());
  return boxes;
}

uint64_t BytesOf(const FolderEntry& box) { return static_cast<uint64_t>(box.status.st_size); }

// Finds all of them, and where they lie.
class FreeBoxFinder : public StoreVisitor {
 public:
  struct Found {
    struct timespec used;
    uint64_t bytes;
    size_t directory;
    std::string name;
  };

  explicit FreeBoxFinder(
      const std::function<void(const std::string&, const std::string&)>& on_unreadable)
      : on_unreadable_(on_unreadable) {}

  void Visit(const StoreDirectory& directory) override {
    const posix::UniqueFd store = Open(directory);
    if (!store) return;
    for (FolderEntry& box : FreeBoxesIn(store.get())) {
      if (directories.empty() || directories.back().source != directory.source) {
        directories.push_back(directory);
      }
      boxes.push_back(
          {box.status.st_ctim, BytesOf(box), directories.size() - 1, std::move(box.name)});
    }
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    on_unreadable_(folder, cause);
  }

  static posix::UniqueFd Open(const StoreDirectory& directory) {
    const posix::UniqueFd place(open(directory.place.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return posix::OpenBeneath(place.get(), directory.relative, O_RDONLY | O_DIRECTORY);
  }

  std::vector<StoreDirectory> directories;
  std::vector<Found> boxes;

 private:
  const std::function<void(const std::string&, const std::string&)>& on_unreadable_;
};

// Nothing in a new file.
std::optional<uint64_t> ReadNumber(int fd) {
  std::array<char, 32> text = {};
  const ssize_t size = pread(fd, text.data(), text.size() - 1, 0);
  return size > 0 ? std::optional<uint64_t>(strtoull(text.data(), nullptr, 10)) : std::nullopt;
}

// What cannot be written is not known the next time.
void WriteNumber(int fd, uint64_t number) {
  const std::string text = std::to_string(number) + "\n";
  if (ftruncate(fd, 0) != 0 || pwrite(fd, text.data(), text.size(), 0) < 0) return;
}

}  // namespace

FreeBoxLimits FreeBoxLimitsFrom(const vexaplatform::ServiceSettings& settings) {
  const auto megabytes = [](int number) { return static_cast<uint64_t>(number) << 20U; };
  return {settings.free_boxes, megabytes(settings.free_box_space),
          megabytes(settings.free_box_store_space)};
}

void NoteFreeBoxUse(const std::string& stored) {
  struct stat st = {};
  if (lstat(stored.c_str(), &st) != 0 || st.st_ctim.tv_sec + kBetweenNotes > time(nullptr)) return;
  const struct timespec times[] = {{0, UTIME_NOW}, {0, UTIME_OMIT}};
  utimensat(AT_FDCWD, stored.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

void EvictFreeBoxes(const std::string& source, const struct stat& status,
                    const FreeBoxLimits& limits, const std::string& newest) {
  const posix::UniqueFd directory = OpenStoreDirectory(source, status);
  const posix::UniqueFd store(openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!store) return;
  std::vector<FolderEntry> boxes = FreeBoxesIn(store.get());
  const std::string kept = LastComponent(newest);
  uint64_t bytes = 0;
  for (const FolderEntry& box : boxes) bytes += BytesOf(box);
  size_t files = boxes.size();
  std::sort(boxes.begin(), boxes.end(), [](const FolderEntry& one, const FolderEntry& other) {
    return WasUsedEarlier(one.status.st_ctim, other.status.st_ctim);
  });
  for (const FolderEntry& box : boxes) {
    if (files <= static_cast<size_t>(limits.files) && bytes <= limits.bytes) return;
    if (box.name == kept || unlinkat(store.get(), box.name.c_str(), 0) != 0) continue;
    --files;
    bytes -= BytesOf(box);
  }
}

FreeBoxEviction EvictFreeBoxesBelow(
    const std::string& path, const FreeBoxLimits& limits, bool dry_run,
    const std::function<void(const std::string& folder, const std::string& cause)>& on_unreadable) {
  FreeBoxFinder finder(on_unreadable);
  WalkStores(path, finder);
  FreeBoxEviction eviction;
  eviction.before.files = finder.boxes.size();
  for (const auto& box : finder.boxes) eviction.before.bytes += box.bytes;
  if (eviction.before.bytes <= limits.bytes_of_store) return eviction;
  std::sort(finder.boxes.begin(), finder.boxes.end(), [](const auto& one, const auto& other) {
    return WasUsedEarlier(one.used, other.used);
  });
  const uint64_t aim = limits.bytes_of_store / 4 * 3;
  for (const auto& box : finder.boxes) {
    if (eviction.before.bytes - eviction.removed.bytes <= aim) break;
    if (!dry_run) {
      const posix::UniqueFd store = FreeBoxFinder::Open(finder.directories[box.directory]);
      if (!store || unlinkat(store.get(), box.name.c_str(), 0) != 0) continue;
    }
    ++eviction.removed.files;
    eviction.removed.bytes += box.bytes;
  }
  return eviction;
}

FreeBoxTally::FreeBoxTally(std::string lock_directory, const std::string& store)
    : directory_(std::move(lock_directory)),
      name_("boxes." + std::to_string(std::hash<std::string>()(store))) {}

uint64_t FreeBoxTally::Add(uint64_t bytes) {
  LockFile file(directory_, name_);
  file.Lock();
  const uint64_t sum = ReadNumber(file.descriptor()).value_or(kUnknown) + bytes;
  WriteNumber(file.descriptor(), sum);
  return sum;
}

void FreeBoxTally::Set(uint64_t bytes) {
  LockFile file(directory_, name_);
  file.Lock();
  WriteNumber(file.descriptor(), bytes);
}

}  // namespace vexathumb::service
