#include "service/store/new_store_entry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "service/store/store_files.h"

namespace vexathumb::service {

namespace fs = std::filesystem;

NewStoreEntry::NewStoreEntry(const std::string& stored)
    : stored_(stored), temporary_(TemporaryFor(stored)) {}

NewStoreEntry::~NewStoreEntry() {
  if (!is_committed_) unlink(temporary_.c_str());
  const fs::path own(temporary_);
  const std::string name = own.filename();
  std::error_code error;
  fs::directory_iterator entry(own.parent_path(), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (entry->path().filename().string().rfind(name, 0) == 0) unlink(entry->path().c_str());
  }
}

bool NewStoreEntry::Commit(time_t modified) {
  struct stat st = {};
  if (lstat(temporary_.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size == 0) return false;
  // As the library leaves them: open to the other applications, and never accessed.
  const struct timespec times[] = {{0, 0}, {modified, 0}};
  if (chmod(temporary_.c_str(), 0777) != 0 ||
      utimensat(AT_FDCWD, temporary_.c_str(), times, 0) != 0 ||
      rename(temporary_.c_str(), stored_.c_str()) != 0) {
    return false;
  }
  is_committed_ = true;
  return true;
}

}  // namespace vexathumb::service
