#include "platform/http/byte_ranges.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

namespace vexaplatform {
namespace {

constexpr char kUnit[] = "bytes=";
constexpr size_t kMostRanges = 32;
constexpr off_t kLast = std::numeric_limits<off_t>::max();

// One range as the header has it.
struct RangeText {
  std::optional<off_t> first;  // without it `last` counts from the file's end
  std::optional<off_t> last;
};

// A number of digits alone, which may be too big for the type; an empty text is none.
bool ParsePosition(std::string_view text, std::optional<off_t>* position) {
  if (text.empty()) return true;
  if (text.find_first_not_of("0123456789") != std::string_view::npos) return false;
  off_t value = 0;
  const bool fits =
      std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc();
  *position = fits ? value : kLast;
  return true;
}

bool ParseRange(std::string_view text, RangeText* range) {
  const size_t dash = text.find('-');
  if (dash == std::string_view::npos) return false;
  if (!ParsePosition(text.substr(0, dash), &range->first) ||
      !ParsePosition(text.substr(dash + 1), &range->last)) {
    return false;
  }
  if (!range->first.has_value()) return range->last.has_value();
  return !range->last.has_value() || *range->first <= *range->last;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// The ranges of the header, none when it is to be ignored.
std::vector<RangeText> ParseRanges(const std::string& header) {
  if (strncasecmp(header.c_str(), kUnit, strlen(kUnit)) != 0) return {};
  std::vector<RangeText> ranges;
  std::string_view rest = std::string_view(header).substr(strlen(kUnit));
  while (!rest.empty()) {
    const size_t comma = std::min(rest.find(','), rest.size());
    const std::string_view text = Trimmed(rest.substr(0, comma));
    rest.remove_prefix(std::min(comma + 1, rest.size()));
    if (text.empty()) continue;  // lists may have empty elements
    RangeText range;
    if (!ParseRange(text, &range) || ranges.size() == kMostRanges) return {};
    ranges.push_back(range);
  }
  return ranges;
}

// The bytes of a file of `size` bytes that the range covers; maybe none.
ByteRange Resolve(const RangeText& range, off_t size) {
  if (!range.first.has_value()) {
    const off_t length = std::min(*range.last, size);
    return {size - length, length};
  }
  if (*range.first >= size) return {};
  const off_t last = std::min(range.last.value_or(kLast), size - 1);
  return {*range.first, last - *range.first + 1};
}

// The last bytes of an empty file are the whole of it.
bool HasSuffix(const std::vector<RangeText>& ranges) {
  return std::any_of(ranges.begin(), ranges.end(), [](const RangeText& range) {
    return !range.first.has_value() && *range.last > 0;
  });
}

bool OverlapOrTouch(const ByteRange& one, const ByteRange& other) {
  return one.offset <= other.offset + other.length && other.offset <= one.offset + one.length;
}

ByteRange Union(const ByteRange& one, const ByteRange& other) {
  const off_t offset = std::min(one.offset, other.offset);
  return {offset, std::max(one.offset + one.length, other.offset + other.length) - offset};
}

void Add(ByteRange range, std::vector<ByteRange>* parts) {
  const auto joins = [&range](const ByteRange& part) { return OverlapOrTouch(range, part); };
  const auto first = std::find_if(parts->begin(), parts->end(), joins);
  if (first == parts->end()) {
    parts->push_back(range);
    return;
  }
  // Parts never touch each other, so those that touch the union touch the new range.
  for (const ByteRange& part : *parts) {
    if (OverlapOrTouch(range, part)) range = Union(range, part);
  }
  *first = range;
  parts->erase(std::remove_if(first + 1, parts->end(), joins), parts->end());
}

}  // namespace

RangeSelection SelectRanges(const std::string& range, off_t size) {
  const std::vector<RangeText> ranges = ParseRanges(range);
  RangeSelection selection;
  if (ranges.empty() || (size == 0 && HasSuffix(ranges))) return selection;
  for (const RangeText& text : ranges) {
    const ByteRange part = Resolve(text, size);
    if (part.length > 0) Add(part, &selection.parts);
  }
  selection.kind =
      selection.parts.empty() ? RangeSelection::Kind::kUnsatisfiable : RangeSelection::Kind::kParts;
  return selection;
}

}  // namespace vexaplatform
