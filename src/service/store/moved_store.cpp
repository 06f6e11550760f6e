#include "service/store/moved_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <tuple>
#include <vector>

#include "common/util/util.h"
#include "posix/open_beneath.h"
#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/base/path_name.h"
#include "service/base/share_paths.h"
#include "service/store/build_slot.h"
#include "service/store/store_files.h"
#include "service/store/store_names.h"
#include "vexa/ea.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

bool IsBelow(const std::string& path, const std::string& folder) {
  return folder == "/" || path.rfind(folder + "/", 0) == 0;
}

// Opens the folder that holds `path`, which lies below `root` or below the store root.
posix::UniqueFd OpenParent(const std::string& root, const std::string& path) {
  const std::string store_root = vexaplatform::CurrentSettings()->root;
  const std::string& anchor = IsBelow(path, store_root) ? store_root : root;
  if (!IsBelow(path, anchor)) return posix::UniqueFd();
  const posix::UniqueFd base(open(anchor.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const std::string parent = file::Dirname(path);
  const bool is_base = parent.size() <= anchor.size();
  const std::string relative = is_base ? "." : parent.substr(anchor == "/" ? 1 : anchor.size() + 1);
  return posix::OpenBeneath(base.get(), relative, O_PATH | O_DIRECTORY);
}

bool IsInOneShare(const std::string& from, const std::string& to) {
  const auto settings = vexaplatform::CurrentSettings();
  return ShareOf(*settings, from) == ShareOf(*settings, to);
}

std::optional<std::vector<FolderEntry>> EntriesOf(int parent, const std::string& name) {
  const posix::UniqueFd folder = posix::OpenBeneath(parent, name, O_RDONLY | O_DIRECTORY);
  if (!folder) return std::nullopt;
  return ListFolder(folder.get());
}

// A file's renaming is the last change of its status, unless there was another one since.
bool IsAnyNewerThan(const struct stat& source, const std::vector<FolderEntry>& entries) {
  const auto key = [](const struct stat& st) {
    return std::make_tuple(st.st_ctim.tv_sec, st.st_ctim.tv_nsec);
  };
  return std::any_of(entries.begin(), entries.end(),
                     [&](const FolderEntry& entry) { return key(entry.status) > key(source); });
}

void RemoveDerived(int parent, const std::string& name, const std::vector<FolderEntry>& entries) {
  const posix::UniqueFd folder = posix::OpenBeneath(parent, name, O_PATH | O_DIRECTORY);
  for (const FolderEntry& entry : entries) {
    const bool is_derived = S_ISREG(entry.status.st_mode) && IsDerived(entry.name);
    if (folder && is_derived) unlinkat(folder.get(), entry.name.c_str(), 0);
  }
}

// The folder that mirrors `folder` under the store root; the folder itself where stores lie beside
// the sources.
std::string StorePlaceOf(const std::string& folder) {
  return file::Dirname(file::Dirname(StoreDirectoryOf(folder + "/x")));
}

}  // namespace

bool MoveStoreOfFile(const std::string& root, const std::string& from, const std::string& to,
                     const std::string& lock_directory) {
  const std::string old_store = StoreDirectoryOf(from);
  const std::string new_store = StoreDirectoryOf(to);
  struct stat source = {};
  if (old_store.empty() || new_store.empty() || !IsInOneShare(from, to)) return false;
  if (lstat(old_store.c_str(), &source) != 0) return false;

  const SourceLock lock(lock_directory, from);
  if (lstat(to.c_str(), &source) != 0 || !S_ISREG(source.st_mode)) return false;
  const posix::UniqueFd old_hidden = OpenParent(root, old_store);
  const auto entries = EntriesOf(old_hidden.get(), LastComponent(old_store));
  if (!entries || IsAnyNewerThan(source, *entries)) return false;
  if (VEXAEAMKDir(1, new_store.c_str()) != 0) return false;
  const posix::UniqueFd new_hidden = OpenParent(root, new_store);
  if (const auto overwritten = EntriesOf(new_hidden.get(), LastComponent(new_store))) {
    if (IsAnyNewerThan(source, *overwritten)) return false;
    RemoveDerived(new_hidden.get(), LastComponent(new_store), *overwritten);
  }
  return renameat(old_hidden.get(), LastComponent(old_store).c_str(), new_hidden.get(),
                  LastComponent(new_store).c_str()) == 0;
}

bool MoveStoreOfFolder(const std::string& root, const std::string& from, const std::string& to) {
  const std::string old_place = StorePlaceOf(from);
  const std::string new_place = StorePlaceOf(to);
  if (old_place == from || new_place == to || !IsInOneShare(from + "/x", to + "/x")) return false;
  const posix::UniqueFd old_parent = OpenParent(root, old_place);
  struct stat st = {};
  if (!old_parent ||
      fstatat(old_parent.get(), LastComponent(old_place).c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  if (VEXAEAMKDir(1, new_place.c_str()) != 0) return false;
  const posix::UniqueFd new_parent = OpenParent(root, new_place);
  return new_parent && renameat(old_parent.get(), LastComponent(old_place).c_str(),
                                new_parent.get(), LastComponent(new_place).c_str()) == 0;
}

}  // namespace vexathumb::service
