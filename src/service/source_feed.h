#ifndef VEXATHUMB_SERVICE_SOURCE_FEED_H_
#define VEXATHUMB_SERVICE_SOURCE_FEED_H_

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

namespace vexathumb::service {

// One thing that there is to build for, or that nothing can be built from.
struct SourceItem {
  enum class Kind { kSource, kMissing, kUnreadableFolder };
  Kind kind = Kind::kSource;
  std::string path;   // absolute
  off_t bytes = 0;    // of a source
  std::string cause;  // why it is none
};

// Where an indexer's sources come from.
class SourceFeed {
 public:
  virtual ~SourceFeed() = default;

  // Nothing when none has come yet or none will come.
  virtual std::optional<SourceItem> Next() = 0;
  virtual bool AtEnd() const = 0;

  // After how long to ask again when none has come yet.
  virtual std::chrono::milliseconds AskAgainAfter() const { return std::chrono::milliseconds(20); }
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SOURCE_FEED_H_
