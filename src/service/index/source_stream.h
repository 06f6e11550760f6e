#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_STREAM_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_STREAM_H_

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/index/path_list.h"
#include "service/index/source_feed.h"
#include "service/index/source_walk.h"

namespace vexathumb::service {

// What there is to build for: files, the files below folders, and what a list names, one by one
// while the folders are being walked.
class SourceStream : public SourceFeed {
 public:
  using Item = SourceItem;

  // Whatever `names` names is a source, whatever its extension, videos only if the options ask for
  // them; each is given once, also when it lies below a folder named besides. Of the files in the
  // list, which may be null, those with a picture's or video's name are sources, unless a part of
  // the path in the list is hidden.
  SourceStream(const std::vector<std::string>& names, std::unique_ptr<PathList> list,
               const WalkOptions& options);

  std::optional<Item> Next() override;
  bool AtEnd() const override;

 private:
  struct Name {
    std::string path;
    bool from_list;
  };

  std::optional<Item> Begin(const Name& name);

  WalkOptions options_;
  std::deque<Name> names_;
  std::unique_ptr<PathList> list_;
  std::optional<SourceWalk> walk_;
  std::deque<Item> waiting_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_STREAM_H_
