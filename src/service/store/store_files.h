#ifndef VEXATHUMB_SERVICE_STORE_STORE_FILES_H_
#define VEXATHUMB_SERVICE_STORE_STORE_FILES_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "posix/unique_fd.h"
#include "service/base/atomic_file.h"
#include "service/picture/source_facts.h"

namespace vexathumb::service {

// Our own files in a source's store directory, beside the library's.

// The store directory of a source; empty when the platform refuses.
std::string StoreDirectoryOf(const std::string& source);

// The status of a regular file of a store, nothing when `path` is none: links, which somebody with
// rights in the share may have put in the place of the file, its store directory or the folder of
// these, are not followed.
std::optional<struct stat> StatusOfStoredFile(const std::string& path);

// Whether the source's store directory is there, made where it was missing, and may be written to.
bool IsStoreWritable(const std::string& source);

// Opens the store directory of a source with that status, for an AtomicFile: that of the very
// folder which holds the source, whatever is put in its place meanwhile. None, with errno set, when
// it is not there: ESTALE for another source, ELOOP for a link.
posix::UniqueFd OpenStoreDirectory(const std::string& source, const struct stat& status);

// Whether some megabytes more fit into it besides (machine_error.h).
bool HasStoreRoom(const std::string& source);

// What an entry of a store gets, of a source with that status: whoever may read that may read it,
// as far as their owners' modes tell, and nobody else; it was modified when the source was, and
// never accessed, as the library leaves them; and it has the mark of its source, with what is known
// of its metadata.
AtomicFile::Attributes StoredAttributes(const struct stat& source,
                                        const std::optional<SourceFacts>& facts = std::nullopt);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_FILES_H_
