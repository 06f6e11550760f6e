#include "service/store/store_figures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/picture/content_type.h"
#include "service/store/current_entry.h"
#include "service/store/store_walk.h"

namespace vexathumb::service {
namespace {

using OnUnreadable = std::function<void(const std::string&, const std::string&)>;

class Counter : public StoreVisitor {
 public:
  Counter(StoreFigures* figures, const OnUnreadable& on_unreadable)
      : figures_(figures), on_unreadable_(on_unreadable) {}

  void Visit(const StoreDirectory& directory) override {
    const posix::UniqueFd store(
        open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto entries = store ? ListFolder(store.get()) : std::nullopt;
    if (!entries) {
      if (errno != ENOENT) on_unreadable_(directory.path(), strerror(errno));
      return;
    }
    ++(directory.source_gone ? figures_->orphans : figures_->directories);
    struct stat source = {};
    const bool has_source = !directory.source_gone && stat(directory.source.c_str(), &source) == 0;
    for (const FolderEntry& entry : *entries) {
      Count(directory, entry, has_source ? &source : nullptr);
    }
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    on_unreadable_(folder, cause);
  }

 private:
  // `source` is the source's status; null where it is gone.
  void Count(const StoreDirectory& directory, const FolderEntry& entry, const struct stat* source) {
    if (S_ISDIR(entry.status.st_mode)) return;
    const std::string path = directory.path() + "/" + entry.name;
    FileCount& count =
        directory.source_gone ? figures_->in_orphans : figures_->kinds[KindOf(path, entry)];
    if (!directory.source_gone && IsFreeBox(entry.name)) {
      ++figures_->free_boxes.files;
      figures_->free_boxes.bytes += static_cast<uint64_t>(entry.status.st_size);
    }
    ++count.files;
    count.bytes += static_cast<uint64_t>(entry.status.st_size);
    if (source != nullptr && IsCurrentEntry(path, *source)) ++count.current;
  }

  static StoreFigures::Kind KindOf(const std::string& path, const FolderEntry& entry) {
    const StoreEntryKind what = ClassifyStoreEntry(entry.name);
    const bool is_picture = what.owner != StoreOwner::kFailure && what.owner != StoreOwner::kOther;
    return {what.owner, what.size, is_picture ? ContentTypeOf(path).value_or("") : ""};
  }

  StoreFigures* figures_;
  const OnUnreadable& on_unreadable_;
};

}  // namespace

bool IsFreshnessKept(StoreOwner owner) {
  return owner == StoreOwner::kFileManager || owner == StoreOwner::kAvatar;
}

void AddStoreFigures(const std::string& path, StoreFigures* figures,
                     const OnUnreadable& on_unreadable) {
  Counter counter(figures, on_unreadable);
  WalkStores(path, counter);
}

}  // namespace vexathumb::service
