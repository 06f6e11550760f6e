#ifndef VEXATHUMB_SERVICE_STORE_SOURCE_MARK_H_
#define VEXATHUMB_SERVICE_STORE_SOURCE_MARK_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "service/picture/source_facts.h"

namespace vexathumb::service {

// What a stored thumbnail says of the source that it was made of, in an extended attribute: the
// source's size, its time to the nanosecond and, where that is a whole second, as on the cards of
// cameras, its inode. So two sources of the same second are told apart, which the library's rule
// cannot. Other programs' thumbnails have no mark, nor has any on a file system without extended
// attributes.
struct SourceMark {
  enum class Says { kNothing, kSameSource, kOtherSource };

  Says says = Says::kNothing;
  // The thumbnail's status has not changed since it was put there, whole and on the disk.
  bool is_untouched = false;
};

// Marks the open thumbnail; to be followed by its renaming at once. Where that fails it has none.
// With what the source's metadata say, where that is known.
void MarkSource(int thumbnail, const struct stat& source, const std::optional<SourceFacts>& facts);

// `status` is the stored thumbnail's.
SourceMark ReadSourceMark(const std::string& stored, const struct stat& status,
                          const struct stat& source);

// What the mark of a thumbnail of that very source says of the source's metadata; nothing where
// there is no such thumbnail.
std::optional<SourceFacts> ReadMarkedFacts(const std::string& stored, const struct stat& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_SOURCE_MARK_H_
