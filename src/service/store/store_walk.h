#ifndef VEXATHUMB_SERVICE_STORE_STORE_WALK_H_
#define VEXATHUMB_SERVICE_STORE_STORE_WALK_H_

#include <string>

namespace vexathumb::service {

// A store directory, and the source that it belongs to.
struct StoreDirectory {
  std::string source;  // absolute, whether it is there or not
  bool source_gone = false;

  // The directory is `place`/`relative`; no component of the latter is a link. `place` is the
  // folder that was walked or, under a store root, its mirror.
  std::string place;
  std::string relative;
  bool beside = true;  // whether `place` holds the sources as well

  std::string path() const { return place == "/" ? "/" + relative : place + "/" + relative; }
};

// Is told what a walk comes upon.
class StoreVisitor {
 public:
  virtual ~StoreVisitor() = default;

  // Before and after the store directories of a folder's files, and of its folders'.
  virtual void Enter(const std::string& /*folder*/) {}
  virtual void Leave(const std::string& /*folder*/) {}

  virtual void Visit(const StoreDirectory& directory) = 0;

  // A folder, or a store's, that could not be read: nothing is known of what is in it.
  virtual void CannotRead(const std::string& folder, const std::string& cause) = 0;
};

// Visits the store directories of a file, or of all files below a folder: those beside the sources
// and those under the store root, wherever the settings place new ones. Hidden folders of the share
// are not gone into, nor links, nor other file systems. A source counts as gone only when the
// system says that there is no such file. `path` is absolute.
void WalkStores(const std::string& path, StoreVisitor& visitor);

// Whether the path lies in the store root, where there are no sources.
bool IsInStoreRoot(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_WALK_H_
