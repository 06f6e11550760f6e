#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_WALK_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_WALK_H_

#include <dirent.h>
#include <sys/types.h>

#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vexathumb::service {

struct WalkOptions {
  bool videos = false;              // besides the pictures
  bool cross_file_systems = false;  // go into folders on which another file system is mounted
  std::set<std::string> except;     // paths that are not to be gone into or listed
};

struct WalkedFile {
  std::string path;
  off_t bytes;
  struct timespec modified;
};

struct UnreadableFolder {
  std::string path;
  int error;  // errno
};

// Lists the pictures below a folder one by one, while others may add and remove some. Passed over
// are hidden entries, and with them the stores, links, whatever is neither a regular file nor a
// folder, and folders in which a file ".nomedia" asks for it. Holds one folder open at a time and
// needs memory only for the folders it has yet to go into.
//
//   SourceWalk walk("/volume1/photo", {});
//   while (!walk.AtEnd()) {
//     if (const auto file = walk.Next()) build(file->path);
//   }
class SourceWalk {
 public:
  SourceWalk(const std::string& folder, WalkOptions options);

  // In no particular order. Nothing at the end, and after a while in which none was found, so that
  // the caller can look after other things.
  std::optional<WalkedFile> Next();
  bool AtEnd() const { return !folder_ && to_enter_.empty(); }

  // The folders that could not be read since the last call.
  std::vector<UnreadableFolder> TakeUnreadable();

 private:
  struct Closer {
    void operator()(DIR* folder) const { closedir(folder); }
  };

  void EnterNextFolder();
  std::optional<WalkedFile> Take(const dirent& entry);

  WalkOptions options_;
  std::optional<dev_t> file_system_;  // of the first folder
  std::vector<std::string> to_enter_;
  std::unique_ptr<DIR, Closer> folder_;
  std::string folder_path_;
  std::vector<UnreadableFolder> unreadable_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_WALK_H_
