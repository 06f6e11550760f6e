#include "service/store/failure_list.h"

#include <unistd.h>

#include "service/store/store_files.h"
#include "service/store/store_names.h"
#include "service/store/store_walk.h"

namespace vexathumb::service {
namespace {

using OnFailure = std::function<void(const std::string&, const BuildFailure&)>;
using OnUnreadable = std::function<void(const std::string&, const std::string&)>;

class Lister : public StoreVisitor {
 public:
  Lister(const OnFailure& on_failure, const OnUnreadable& on_unreadable)
      : on_failure_(on_failure), on_unreadable_(on_unreadable) {}

  void Visit(const StoreDirectory& directory) override {
    if (directory.source_gone) return;
    const std::string entry = directory.path() + "/" + kFailureEntryName;
    if (access(entry.c_str(), F_OK) != 0) return;
    // A directory from before the settings changed is not asked any more.
    if (StoreDirectoryOf(directory.source) != directory.path()) return;
    for (const BuildFailure& failure : RecordedFailures(directory.source)) {
      on_failure_(directory.source, failure);
    }
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    on_unreadable_(folder, cause);
  }

 private:
  const OnFailure& on_failure_;
  const OnUnreadable& on_unreadable_;
};

}  // namespace

void ListFailures(const std::string& path, const OnFailure& on_failure,
                  const OnUnreadable& on_unreadable) {
  Lister lister(on_failure, on_unreadable);
  WalkStores(path, lister);
}

}  // namespace vexathumb::service
