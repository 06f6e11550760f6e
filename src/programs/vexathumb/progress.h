#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>

namespace vexathumb::program {

// How far a long run is, how fast it goes and how long it will still take, on standard error: a bar
// where that is a terminal, and a line a minute elsewhere.
class Progress {
 public:
  explicit Progress(std::chrono::seconds between_lines = std::chrono::seconds(60));
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  // To be called now and then. `total` is unknown at first; `file` is one in hand.
  void Show(size_t done, std::optional<size_t> total, const std::string& file);

  // "120 of 5000 sources, 12/s, 7 min left".
  std::string Text() const;

  void Clear() const;  // so that another line can be written

 private:
  using Clock = std::chrono::steady_clock;
  struct Sample {
    Clock::time_point time;
    size_t done;
  };

  void Note(size_t done);
  double Rate() const;  // sources a second, over the last minute
  void ShowBar(const std::string& file) const;

  const bool is_terminal_;
  const std::chrono::seconds between_lines_;
  size_t done_ = 0;
  std::optional<size_t> total_;
  std::deque<Sample> samples_;
  Clock::time_point last_line_;
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_PROGRESS_H_
