#ifndef VEXATHUMB_SERVICE_INDEX_SCREENSHOT_WORK_H_
#define VEXATHUMB_SERVICE_INDEX_SCREENSHOT_WORK_H_

#include <string>
#include <vector>

#include "service/index/source_work.h"

namespace vexathumb::service {

// Makes a video's screenshot, where the video application has not stored one: it keeps them current
// itself, and gives them what time it likes.
class ScreenshotWork : public SourceWork {
 public:
  using SourceWork::SourceWork;

 private:
  std::vector<std::string> Labels() const override { return {"screenshot"}; }
  void ExamineSize(BuiltSize* size) const override;
  void MakeDue(const std::vector<BuiltSize>& due, BackgroundSlot* slot) override;
  bool MakeAt(const std::string& stored, int* write_error) const;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SCREENSHOT_WORK_H_
