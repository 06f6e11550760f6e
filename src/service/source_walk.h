#ifndef VEXATHUMB_SERVICE_SOURCE_WALK_H_
#define VEXATHUMB_SERVICE_SOURCE_WALK_H_

#include <string>
#include <vector>

namespace vexathumb::service {

struct SourceWalk {
  std::vector<std::string> pictures;  // regular files whose names count as pictures
  struct Unreadable {
    std::string folder;
    std::string cause;
  };
  std::vector<Unreadable> unreadable;
};

// Whether a name counts as that of a picture that thumbnails are built for: what the library calls
// images, and further formats that its tools read.
bool IsPictureName(const std::string& path);

// Everything below `folder`, in the order of names. Hidden entries, and with them the store, links
// and whatever is neither a regular file nor a folder are passed over.
SourceWalk WalkFolder(const std::string& folder);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SOURCE_WALK_H_
