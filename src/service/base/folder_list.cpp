#include "service/base/folder_list.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>

#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

// Calls `use` with each entry. False, with errno set, when the folder cannot be read.
template <typename Use>
bool ForEachEntry(int folder, Use use) {
  // A description of its own, so that reading starts at the beginning.
  posix::UniqueFd own(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto close_list = [](DIR* list) { closedir(list); };
  const std::unique_ptr<DIR, decltype(close_list)> list(own ? fdopendir(own.get()) : nullptr,
                                                        close_list);
  if (!list) return false;
  own.Release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(list.get());
    if (entry == nullptr) return errno == 0;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") use(*entry);
  }
}

}  // namespace

std::optional<std::vector<FolderEntry>> ListFolder(int folder) {
  std::vector<FolderEntry> entries;
  const bool read = ForEachEntry(folder, [&](const dirent& item) {
    FolderEntry entry;
    entry.name = item.d_name;
    if (fstatat(folder, item.d_name, &entry.status, AT_SYMLINK_NOFOLLOW) == 0) {
      entries.push_back(std::move(entry));
    }
  });
  if (!read) return std::nullopt;
  return entries;
}

std::optional<std::vector<std::string>> ListSubfolders(int folder) {
  std::vector<std::string> names;
  const bool read = ForEachEntry(folder, [&](const dirent& item) {
    if (item.d_type != DT_DIR && item.d_type != DT_UNKNOWN) return;
    struct stat st = {};
    if (fstatat(folder, item.d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode)) {
      names.emplace_back(item.d_name);
    }
  });
  if (!read) return std::nullopt;
  return names;
}

}  // namespace vexathumb::service
