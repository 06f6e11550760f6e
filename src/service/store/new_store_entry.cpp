#include "service/store/new_store_entry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "common/util/util.h"
#include "service/store/store_files.h"

namespace vexathumb::service {

namespace fs = std::filesystem;

NewStoreEntry::NewStoreEntry(const std::string& stored)
    : stored_(stored), temporary_(TemporaryFor(stored)) {}

NewStoreEntry::NewStoreEntry(std::string stored, std::string temporary)
    : stored_(std::move(stored)), temporary_(std::move(temporary)) {}

NewStoreEntry NewStoreEntry::OutsideStore(const std::string& name) {
  return {"", file::GetVarTmpPath(name)};
}

NewStoreEntry::~NewStoreEntry() {
  if (!is_finished_) unlink(temporary_.c_str());
  const fs::path own(temporary_);
  const std::string name = own.filename();
  std::error_code error;
  fs::directory_iterator entry(own.parent_path(), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string other = entry->path().filename();
    if (other != name && other.rfind(name, 0) == 0) unlink(entry->path().c_str());
  }
}

bool NewStoreEntry::Commit(time_t modified) {
  if (!Finish(modified) || rename(temporary_.c_str(), stored_.c_str()) != 0) return false;
  is_finished_ = true;
  return true;
}

bool NewStoreEntry::HandOut(time_t modified) {
  is_finished_ = Finish(modified);
  return is_finished_;
}

bool NewStoreEntry::Finish(time_t modified) const {
  struct stat st = {};
  if (lstat(temporary_.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size == 0) return false;
  // As the library leaves them: open to the other applications, and never accessed.
  const struct timespec times[] = {{0, 0}, {modified, 0}};
  return chmod(temporary_.c_str(), 0777) == 0 &&
         utimensat(AT_FDCWD, temporary_.c_str(), times, 0) == 0;
}

}  // namespace vexathumb::service
