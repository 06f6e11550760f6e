#ifndef VEXATHUMB_SERVICE_STORE_FILES_H_
#define VEXATHUMB_SERVICE_STORE_FILES_H_

#include <string>

namespace vexathumb::service {

// Our own files in a source's store directory, beside the library's.

// A temporary name in the directory of `path`, for this process and second, that keeps the name's
// extension: the tools choose a format by it. The caller holds the source's lock.
std::string TemporaryFor(const std::string& path);

// The store directory of a source; empty when the platform refuses.
std::string StoreDirectoryOf(const std::string& source);

// How many of the source's stored thumbnails are for free boxes and avatars.
int CountFreeBoxes(const std::string& source);

// Removes what killed processes have left behind: temporaries of ours and of the library's, older
// than an hour, and nobody else's files. The first of one source's store directory, the second of
// /tmp and /var/tmp. Results of others' calls that are still in use are younger.
void SweepStoreDirectory(const std::string& source);
void SweepTemporaryDirectories();

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_FILES_H_
