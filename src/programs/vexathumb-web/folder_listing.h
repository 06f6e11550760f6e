#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FOLDER_LISTING_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FOLDER_LISTING_H_

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "service/picture/displayed_pixels.h"

namespace vexathumb::web {

enum class EntryKind { kFolder, kImage, kVideo };

struct Entry {
  std::string name;  // bytes
  EntryKind kind = EntryKind::kFolder;
  int64_t size = 0;
  timespec mtime = {};
  std::optional<service::Pixels> pixels;  // as displayed, of images where they are known
  bool is_damaged = false;                // of an image: its thumbnails show what can be read of it
};

enum class SortOrder {
  kName,         // numbers in names by their value
  kNewestFirst,  // equal times by name
};

struct Page {
  size_t offset;
  size_t limit;
};

struct FolderListing {
  size_t total = 0;            // in the folder
  std::vector<Entry> entries;  // of the page
};

// What an open folder holds (O_PATH will do): folders first, then pictures and videos, by their
// names' kind. Hidden entries, links and all other files are left out. Only the entries of the page
// are opened. `path` is the folder's, by which thumbnails are found that tell of their sources;
// what they say counts for the very files of the open folder only. Nothing when the folder cannot
// be read.
std::optional<FolderListing> ListFolder(int handle, const std::string& path, SortOrder order,
                                        const Page& page);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FOLDER_LISTING_H_
