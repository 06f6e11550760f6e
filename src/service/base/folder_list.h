#ifndef VEXATHUMB_SERVICE_BASE_FOLDER_LIST_H_
#define VEXATHUMB_SERVICE_BASE_FOLDER_LIST_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

namespace vexathumb::service {

struct FolderEntry {
  std::string name;
  struct stat status = {};  // its own; a link is not followed
};

// Lists an open folder, "." and ".." left out; it stays open. Entries that vanish meanwhile may be
// missing. Nothing, with errno set, when the folder cannot be read.
std::optional<std::vector<FolderEntry>> ListFolder(int folder);

// The names of the folders in it alone, without asking for the status of files where the file
// system tells what is none.
std::optional<std::vector<std::string>> ListSubfolders(int folder);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_FOLDER_LIST_H_
