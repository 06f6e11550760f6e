#ifndef VEXATHUMB_SERVICE_STORE_CURRENT_ENTRY_H_
#define VEXATHUMB_SERVICE_STORE_CURRENT_ENTRY_H_

#include <sys/stat.h>

#include <string>

namespace vexathumb::service {

// Whether the thumbnail at `stored` is a picture of the source as it is now, whose status is
// `source`: it carries the source's second, as the library demands; it does not say that it was
// made of another one (source_mark.h); and it begins as a picture does, which files do not that had
// not reached the disk when the power went. Links are not followed, nor anything waited for.
bool IsCurrentEntry(const std::string& stored, const struct stat& source);

// The same of a file whose status is `status`, but for its content.
bool IsMadeOf(const std::string& stored, const struct stat& status, const struct stat& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_CURRENT_ENTRY_H_
