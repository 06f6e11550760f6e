#ifndef VEXATHUMB_SERVICE_STORE_MOVED_STORE_H_
#define VEXATHUMB_SERVICE_STORE_MOVED_STORE_H_

#include <string>

namespace vexathumb::service {

// Has what is stored follow sources that were renamed or moved. `from` and `to` are absolute paths
// below the folder `root`; below it no link is followed. Nothing moves to another share of the
// settings, whose rights may be others', nor to another file system, nor where something has been
// built for the new name since; then it stays for `vexathumb clean`.

// Of one file. Waits for whoever builds for the former name; what had been stored for a file that
// was overwritten goes. Whether there is something at the new place now. Throws std::system_error
// when the lock cannot be had.
bool MoveStoreOfFile(const std::string& root, const std::string& from, const std::string& to,
                     const std::string& lock_directory);

// Of all files below a folder. Stores that lie beside their sources have moved with them.
bool MoveStoreOfFolder(const std::string& root, const std::string& from, const std::string& to);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_MOVED_STORE_H_
