#include "platform/tool/private_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/base/bare_calls.h"
#include "posix/random_name.h"
#include "vexaplatform/settings.h"
#include "vexaplatform/tool_folders.h"

namespace vexaplatform {
namespace {

constexpr int kDepth = 4;
constexpr char kPrefix[] = "vexathumb-tool.";
constexpr time_t kLeftoverAge = 3600;  // seconds

bool IsPrivateFolderName(const std::string& name) {
  const size_t prefix = strlen(kPrefix);
  return name.size() == prefix + vexathumb::posix::kRandomNameLength &&
         name.compare(0, prefix, kPrefix) == 0 &&
         name.find_first_not_of(vexathumb::posix::kRandomNameDigits, prefix) == std::string::npos;
}

bool IsDots(const char* name) { return strcmp(name, ".") == 0 || strcmp(name, "..") == 0; }

// Without the library's streams, which allocate.
void Empty(int parent, const char* name, int depth) {
  const bare::Descriptor folder(
      bare::OpenAt(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) return;
  alignas(dirent64) char entries[2048];
  for (;;) {
    const long size = syscall(SYS_getdents64, folder.get(), entries, sizeof(entries));
    if (size <= 0) return;
    for (long at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(entries + at);
      at += entry->d_reclen;
      if (IsDots(entry->d_name) || bare::Remove(folder.get(), entry->d_name, 0) == 0 ||
          depth == 0) {
        continue;
      }
      Empty(folder.get(), entry->d_name, depth - 1);
      bare::Remove(folder.get(), entry->d_name, AT_REMOVEDIR);
    }
  }
}

}  // namespace

std::string PrivateFolderName(const std::string& parent) {
  return parent + "/" + kPrefix + vexathumb::posix::RandomName();
}

void RemovePrivateFolder(const char* path) {
  // A folder that shrinks while it is read may hide entries from one pass.
  for (int pass = 0; pass < kDepth; ++pass) {
    if (bare::Remove(AT_FDCWD, path, AT_REMOVEDIR) == 0) return;
    Empty(AT_FDCWD, path, kDepth);
  }
}

void SweepPrivateFolders(const std::string& parent, time_t age) {
  const time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::error_code error;
  std::filesystem::directory_iterator entry(parent, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    if (!IsPrivateFolderName(entry->path().filename().string())) continue;
    struct stat status {};
    const bool is_own_folder = lstat(entry->path().c_str(), &status) == 0 &&
                               S_ISDIR(status.st_mode) && status.st_uid == geteuid();
    if (is_own_folder && status.st_ctime + age <= now) {
      RemovePrivateFolder(entry->path().c_str());
    }
  }
}

void SweepToolFolders() { SweepPrivateFolders(CurrentSettings()->tools.temp_dir, kLeftoverAge); }

}  // namespace vexaplatform
