#include "service/build/made_picture.h"

#include "service/store/store_files.h"

namespace vexathumb::service {

NewFile NewFileAt(const std::string& path) {
  return [path] { return std::make_unique<AtomicFile>(path); };
}

NewFile NewFileInStore(const std::string& source, const SourceVersion& version,
                       const std::string& stored) {
  return [source, &version, stored] {
    return std::make_unique<AtomicFile>(stored, OpenStoreDirectory(source, version.status()));
  };
}

}  // namespace vexathumb::service
