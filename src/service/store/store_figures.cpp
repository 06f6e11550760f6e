#include "service/store/store_figures.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/picture/content_type.h"
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
    for (const FolderEntry& entry : *entries) Count(directory, entry);
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    on_unreadable_(folder, cause);
  }

 private:
  void Count(const StoreDirectory& directory, const FolderEntry& entry) {
    if (S_ISDIR(entry.status.st_mode)) return;
    FileCount& count = directory.source_gone
                           ? figures_->in_orphans
                           : figures_->kinds[KindOf(directory.path() + "/" + entry.name, entry)];
    ++count.files;
    count.bytes += static_cast<uint64_t>(entry.status.st_size);
    const bool is_current =
        !directory.source_gone && entry.status.st_mtime == directory.source_status.st_mtime;
    if (is_current) ++count.current;
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
