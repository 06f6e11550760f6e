#include "programs/vexathumb/quantity.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace vexathumb::program {
namespace {

// One decimal below ten, none above.
std::string Rounded(double value) {
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), value < 9.95 ? "%.1f" : "%.0f", value);
  return text.data();
}

}  // namespace

std::string DurationText(double seconds) {
  if (seconds < 99.5) return Rounded(seconds) + " s";
  const int64_t minutes = std::llround(seconds / 60);
  if (minutes < 100) return std::to_string(minutes) + " min";
  return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

std::string SizeText(uint64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  auto size = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* larger : {"kB", "MB", "GB", "TB"}) {
    if (size < 999.5 && *unit != '\0') break;
    size /= 1000;
    unit = larger;
  }
  return Rounded(size) + " " + unit;
}

std::string RateText(double per_second) { return Rounded(per_second) + "/s"; }

}  // namespace vexathumb::program
