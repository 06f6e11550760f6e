#include "programs/vexathumb/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "programs/vexathumb/printable.h"
#include "programs/vexathumb/quantity.h"
#include "service/base/path_name.h"

namespace vexathumb::program {
namespace {

using std::chrono::seconds;

constexpr size_t kBarWidth = 20;
constexpr seconds kRateSpan{60};
constexpr seconds kBetweenSamples{1};

int TerminalWidth() {
  struct winsize size = {};
  const bool is_known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : 80;
}

std::string Bar(size_t done, size_t total) {
  const size_t filled = total > 0 ? kBarWidth * std::min(done, total) / total : kBarWidth;
  return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] ";
}

}  // namespace

Progress::Progress(seconds between_lines)
    : is_terminal_(isatty(STDERR_FILENO) != 0),
      between_lines_(between_lines),
      last_line_(Clock::now()) {
  samples_.push_back({last_line_, 0});
}

void Progress::Show(size_t done, std::optional<size_t> total, const std::string& file) {
  total_ = total;
  Note(done);
  if (is_terminal_) {
    ShowBar(file);
  } else if (Clock::now() - last_line_ >= between_lines_) {
    last_line_ = Clock::now();
    std::cerr << "vexathumb: " + Text() + "\n";
  }
}

std::string Progress::Text() const {
  std::string text = std::to_string(done_);
  if (total_) text += " of " + std::to_string(std::max(*total_, done_));
  const double rate = Rate();
  text += " sources, " + RateText(rate);
  if (total_ && *total_ > done_ && rate > 0) {
    text += ", " + DurationText(static_cast<double>(*total_ - done_) / rate) + " left";
  }
  return text;
}

void Progress::Clear() const {
  if (is_terminal_) std::cerr << "\r\x1b[K" << std::flush;
}

void Progress::Note(size_t done) {
  done_ = done;
  const Clock::time_point now = Clock::now();
  if (now - samples_.back().time >= kBetweenSamples) samples_.push_back({now, done});
  while (samples_.size() > 1 && now - samples_.front().time > kRateSpan) samples_.pop_front();
}

double Progress::Rate() const {
  const Sample& first = samples_.front();
  const double span = std::chrono::duration<double>(Clock::now() - first.time).count();
  return span > 0 ? static_cast<double>(done_ - first.done) / span : 0;
}

void Progress::ShowBar(const std::string& file) const {
  std::string line = (total_ ? Bar(done_, *total_) : "") + Text();
  // A name that would wrap the line is left out.
  const std::string name = " " + Printable(service::LastComponent(file));
  if (static_cast<int>(line.size()) + DisplayWidth(name) < TerminalWidth()) line += name;
  std::cerr << "\r\x1b[K" << line << std::flush;
}

}  // namespace vexathumb::program
