#include "service/index/source_walk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "posix/unique_fd.h"
#include "service/base/machine_error.h"
#include "service/picture/media_names.h"

namespace vexathumb::service {
namespace {

constexpr char kPassOverMark[] = ".nomedia";
constexpr int kEntriesAtOnce = 4096;

}  // namespace

SourceWalk::SourceWalk(const std::string& folder, WalkOptions options)
    : options_(std::move(options)), to_enter_({folder}) {}

std::optional<WalkedFile> SourceWalk::Next() {
  for (int i = 0; i < kEntriesAtOnce; ++i) {
    if (AtEnd()) break;
    if (!folder_) {
      EnterNextFolder();
      continue;
    }
    errno = 0;
    const dirent* entry = readdir(folder_.get());
    if (entry == nullptr) {
      if (errno != 0) unreadable_.push_back({folder_path_, errno});
      folder_.reset();
    } else if (auto file = Take(*entry)) {
      return file;
    }
  }
  return std::nullopt;
}

std::vector<UnreadableFolder> SourceWalk::TakeUnreadable() {
  return std::exchange(unreadable_, {});
}

void SourceWalk::EnterNextFolder() {
  folder_path_ = std::move(to_enter_.back());
  to_enter_.pop_back();
  // Only the named folder itself may be a link. Another may have become one since it was listed.
  const int follow = file_system_ ? O_NOFOLLOW : 0;
  posix::UniqueFd fd(open(folder_path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | follow));
  struct stat st = {};
  if (!fd || fstat(fd.get(), &st) != 0) {
    const bool gone = file_system_ && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP);
    if (!gone) unreadable_.push_back({folder_path_, errno});
    return;
  }
  if (!file_system_) file_system_ = st.st_dev;
  const bool crosses = st.st_dev != *file_system_ && !options_.cross_file_systems;
  if (crosses || faccessat(fd.get(), kPassOverMark, F_OK, 0) == 0) return;
  folder_.reset(fdopendir(fd.get()));
  if (folder_) {
    fd.Release();
  } else {
    unreadable_.push_back({folder_path_, errno});
  }
}

std::optional<WalkedFile> SourceWalk::Take(const dirent& entry) {
  if (entry.d_name[0] == '.') return std::nullopt;
  const bool may_be_folder = entry.d_type == DT_DIR || entry.d_type == DT_UNKNOWN;
  const bool may_be_file = entry.d_type == DT_REG || entry.d_type == DT_UNKNOWN;
  const MediaKind kind = may_be_file ? MediaKindOf(entry.d_name) : MediaKind::kNone;
  const bool is_wanted =
      kind == MediaKind::kPicture || (kind == MediaKind::kVideo && options_.videos);
  if (!may_be_folder && !is_wanted) return std::nullopt;

  std::string path = folder_path_ + (folder_path_.back() == '/' ? "" : "/") + entry.d_name;
  if (options_.except.count(path) > 0) return std::nullopt;
  if (entry.d_type == DT_DIR) {
    to_enter_.push_back(std::move(path));
    return std::nullopt;
  }
  struct stat st = {};
  if (fstatat(dirfd(folder_.get()), entry.d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
    // Whoever works on it tells why.
    return is_wanted && IsMachineError(errno)
               ? std::make_optional(WalkedFile{std::move(path), 0, {}})
               : std::nullopt;
  }
  if (S_ISDIR(st.st_mode)) to_enter_.push_back(path);
  if (!S_ISREG(st.st_mode) || !is_wanted) return std::nullopt;
  return WalkedFile{std::move(path), st.st_size, st.st_mtim};
}

}  // namespace vexathumb::service
