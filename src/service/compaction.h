#ifndef VEXATHUMB_SERVICE_COMPACTION_H_
#define VEXATHUMB_SERVICE_COMPACTION_H_

#include <string>

namespace vexathumb::service {

// Re-encodes a thumbnail that holds BMP data, as the fast JPEG path leaves it, as JPEG of `quality`
// (1 to 100) with cjpeg: under the same name, by a rename, with the same mode and times. True when
// the file is no BMP data any more; on failure it stays as it was.
bool Compact(const std::string& path, int quality);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_COMPACTION_H_
