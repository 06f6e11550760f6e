#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_FEED_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_FEED_H_

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexathumb::service {

// One thing that there is to build for, or that nothing can be built from.
struct SourceItem {
  enum class Kind { kSource, kMissing, kUnreadableFolder };
  Kind kind = Kind::kSource;
  std::string path;               // absolute
  off_t bytes = 0;                // of a source
  std::string cause;              // why it is none
  struct timespec modified = {};  // a source, where that is known
  bool is_machine_error = false;  // that may pass (machine_error.h)
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

// Sources that are known beforehand.
class ListedSources : public SourceFeed {
 public:
  explicit ListedSources(std::vector<SourceItem> items) : items_(std::move(items)) {}

  std::optional<SourceItem> Next() override {
    if (AtEnd()) return std::nullopt;
    return std::move(items_[next_++]);
  }
  bool AtEnd() const override { return next_ == items_.size(); }

  size_t size() const { return items_.size(); }  // of all, given or not

 private:
  std::vector<SourceItem> items_;
  size_t next_ = 0;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_FEED_H_
