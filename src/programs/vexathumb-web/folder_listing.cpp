#include "programs/vexathumb-web/folder_listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "common/util/util.h"
#include "service/build/stored_facts.h"
#include "service/picture/media_names.h"

namespace vexathumb::web {
namespace {

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

Folder OpenFolder(int handle) {
  const int fd = openat(handle, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  Folder folder(fd < 0 ? nullptr : fdopendir(fd), &closedir);
  if (fd >= 0 && !folder) close(fd);
  return folder;
}

// Takes size and time. Nothing when the entry has gone or is a link by now.
std::optional<struct stat> Examine(const Folder& folder, Entry* entry) {
  struct stat st = {};
  if (fstatat(dirfd(folder.get()), entry->name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
    return std::nullopt;
  }
  entry->size = st.st_size;
  entry->mtime = st.st_mtim;
  const bool is_kept =
      entry->kind == EntryKind::kFolder ? S_ISDIR(st.st_mode) : S_ISREG(st.st_mode);
  return is_kept ? std::make_optional(st) : std::nullopt;
}

// By its smallest thumbnail, which is asked for together with the listing.
void TakeFacts(const Folder& folder, const std::string& path, const struct stat& status,
               Entry* entry) {
  const auto facts = service::StoredFacts(path + "/" + entry->name, status, {kSmall});
  entry->is_damaged = facts && facts->is_damaged;
  entry->pixels = service::DisplayedPixelsIn(dirfd(folder.get()), entry->name);
  // Of a type that the library does not know.
  if (facts && !entry->pixels) entry->pixels = service::Pixels{facts->width, facts->height};
}

unsigned char TypeOf(const Folder& folder, const dirent& item) {
  if (item.d_type != DT_UNKNOWN) return item.d_type;
  struct stat st = {};
  if (fstatat(dirfd(folder.get()), item.d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  return S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : DT_UNKNOWN;
}

std::optional<EntryKind> KindOf(const Folder& folder, const dirent& item) {
  if (item.d_name[0] == '.') return std::nullopt;
  const unsigned char type = TypeOf(folder, item);
  if (type == DT_DIR) return EntryKind::kFolder;
  if (type != DT_REG) return std::nullopt;
  switch (service::MediaKindOf(item.d_name)) {
    case service::MediaKind::kPicture:
      return EntryKind::kImage;
    case service::MediaKind::kVideo:
      return EntryKind::kVideo;
    case service::MediaKind::kNone:
      break;
  }
  return std::nullopt;
}

bool IsNewer(const timespec& one, const timespec& other) {
  return std::pair(one.tv_sec, one.tv_nsec) > std::pair(other.tv_sec, other.tv_nsec);
}

bool IsBefore(const Entry& one, const Entry& other, SortOrder order) {
  const bool is_folder = one.kind == EntryKind::kFolder;
  if (is_folder != (other.kind == EntryKind::kFolder)) return is_folder;
  if (order == SortOrder::kNewestFirst) {
    if (IsNewer(one.mtime, other.mtime)) return true;
    if (IsNewer(other.mtime, one.mtime)) return false;
  }
  const int by_value = strverscmp(one.name.c_str(), other.name.c_str());
  return by_value != 0 ? by_value < 0 : one.name < other.name;
}

}  // namespace

std::optional<FolderListing> ListFolder(int handle, const std::string& path, SortOrder order,
                                        const Page& page) {
  const Folder folder = OpenFolder(handle);
  if (!folder) return std::nullopt;
  std::vector<Entry> entries;
  while (const dirent* item = readdir(folder.get())) {
    const auto kind = KindOf(folder, *item);
    if (!kind) continue;
    Entry entry;
    entry.name = item->d_name;
    entry.kind = *kind;
    if (order == SortOrder::kNewestFirst && !Examine(folder, &entry)) continue;
    entries.push_back(std::move(entry));
  }
  std::sort(entries.begin(), entries.end(),
            [order](const Entry& one, const Entry& other) { return IsBefore(one, other, order); });

  FolderListing listing;
  listing.total = entries.size();
  const size_t first = std::min(page.offset, entries.size());
  const size_t last = first + std::min(page.limit, entries.size() - first);
  for (size_t i = first; i < last; ++i) {
    Entry& entry = entries[i];
    const auto status = Examine(folder, &entry);
    if (!status) continue;
    if (entry.kind == EntryKind::kImage) TakeFacts(folder, path, *status, &entry);
    listing.entries.push_back(std::move(entry));
  }
  return listing;
}

}  // namespace vexathumb::web
