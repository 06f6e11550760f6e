#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_

#include <cstddef>
#include <string>

namespace vexathumb::program {

// A bar on standard error where that is a terminal; nothing elsewhere.
class ProgressBar {
 public:
  explicit ProgressBar(size_t total);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() { Clear(); }

  bool is_shown() const { return is_shown_; }
  void Show(size_t done, const std::string& file) const;
  void Clear() const;  // so that another line can be written

 private:
  size_t total_;
  bool is_shown_;
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_
