#ifndef VEXATHUMB_SERVICE_BASE_SOURCE_PATH_H_
#define VEXATHUMB_SERVICE_BASE_SOURCE_PATH_H_

#include <string>

namespace vexathumb::service {

// The absolute path that the library wants, without ".", ".." and doubled slashes, since the store
// may mirror it. Links stay as they are, except that a folder is resolved where leaving out ".."
// would lead elsewhere. A path that cannot be examined is answered as it is spelled.
std::string AbsolutePath(const std::string& name);

// Why no picture can be read there: missing, no right to read it, not a regular file. Empty when it
// can. Opens nothing.
std::string WhyUnreadable(const std::string& path);

// Whether both paths lead to one existing file.
bool IsSameFile(const std::string& one, const std::string& other);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_SOURCE_PATH_H_
