#ifndef VEXATHUMB_SERVICE_INDEX_PICTURE_WORK_H_
#define VEXATHUMB_SERVICE_INDEX_PICTURE_WORK_H_

#include <string>
#include <vector>

#include "service/index/source_work.h"

namespace vexathumb::service {

// Brings the file manager's thumbnails of a picture up to date, the largest first, so that the
// smaller ones can be made of it. Animated GIFs stay animated.
class PictureWork : public SourceWork {
 public:
  using SourceWork::SourceWork;

 private:
  std::vector<std::string> Labels() const override { return options().sizes; }
  void ExamineSize(BuiltSize* size) const override;
  void MakeDue(const std::vector<BuiltSize>& due, BackgroundSlot* slot) override;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_PICTURE_WORK_H_
