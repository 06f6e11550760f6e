#ifndef VEXATHUMB_SERVICE_STORE_STORE_FIGURES_H_
#define VEXATHUMB_SERVICE_STORE_STORE_FIGURES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>

#include "service/store/store_names.h"

namespace vexathumb::service {

struct FileCount {
  uint64_t files = 0;
  uint64_t bytes = 0;    // length of the files
  uint64_t current = 0;  // those that carry their source's modification time
};

// What lies in the store directories.
struct StoreFigures {
  struct Kind {
    StoreOwner owner;
    std::string size;  // as in StoreEntryKind
    std::string type;  // by content: "image/jpeg", … (content_type.h); empty for others

    bool operator<(const Kind& other) const {
      return std::tie(owner, size, type) < std::tie(other.owner, other.size, other.type);
    }
  };

  uint64_t directories = 0;  // of sources that are there
  std::map<Kind, FileCount> kinds;
  FileCount free_boxes;  // and avatars (free_boxes.h), which are counted among `kinds` too
  uint64_t orphans = 0;  // directories of sources that are gone
  FileCount in_orphans;  // not counted among `kinds`
};

// Whether being current means something for files of that kind: nobody compares the times of the
// photo album's and the video application's.
bool IsFreshnessKept(StoreOwner owner);

// Adds what is stored for a file, or for all files below a folder; `path` is absolute. Nothing is
// changed.
void AddStoreFigures(
    const std::string& path, StoreFigures* figures,
    const std::function<void(const std::string& folder, const std::string& cause)>& on_unreadable);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_FIGURES_H_
