#include "programs/vexathumb/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

#include "programs/vexathumb/printable.h"

namespace vexathumb::program {
namespace {

constexpr size_t kBarWidth = 24;

int TerminalWidth() {
  struct winsize size = {};
  const bool is_known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : 80;
}

}  // namespace

ProgressBar::ProgressBar(size_t total)
    : total_(total), is_shown_(total > 0 && isatty(STDERR_FILENO) != 0) {}

void ProgressBar::Show(size_t done, const std::string& file) const {
  if (!is_shown_) return;
  const size_t filled = kBarWidth * done / total_;
  std::string line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                     std::to_string(done) + "/" + std::to_string(total_) + " ";
  // A name that would wrap the line is left out.
  const std::string name = Printable(file.substr(file.rfind('/') + 1));
  if (static_cast<int>(line.size()) + DisplayWidth(name) < TerminalWidth()) line += name;
  std::cerr << "\r\x1b[K" << line << std::flush;
}

void ProgressBar::Clear() const {
  if (is_shown_) std::cerr << "\r\x1b[K" << std::flush;
}

}  // namespace vexathumb::program
