#ifndef VEXATHUMB_SERVICE_STORE_SWEEPING_H_
#define VEXATHUMB_SERVICE_STORE_SWEEPING_H_

#include <sys/stat.h>

#include <string>

#include "service/base/folder_clock.h"

namespace vexathumb::service {

// Whether an entry of a store directory is what a killed process has left there: a temporary by
// its name, a regular file, of this user, unless that is root, and older than an hour by `clock`,
// the directory's.
bool IsStoreLeftover(const std::string& name, const struct stat& status, FolderClock* clock);

// Removes what killed processes have left behind, temporaries of ours and of the library's, and
// free boxes of a source that has changed: older than an hour, and nobody else's files. The first
// of one source's store directory, the second of /tmp and /var/tmp. Results of others' calls that
// are still in use are younger, also those of other machines, which hold none of our locks.
void SweepStoreDirectory(const std::string& source);
void SweepTemporaryDirectories();

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_SWEEPING_H_
