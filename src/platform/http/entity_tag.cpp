#include "platform/http/entity_tag.h"

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace vexaplatform {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kWeakMark = "W/";

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

std::string_view WithoutWeakMark(std::string_view tag) {
  return StartsWith(tag, kWeakMark) ? tag.substr(kWeakMark.size()) : tag;
}

void SkipAny(std::string_view* text, std::string_view characters) {
  text->remove_prefix(std::min(text->find_first_not_of(characters), text->size()));
}

// Takes the next tag off a list. An empty one at the list's end and at what is not a tag.
std::string_view TakeTag(std::string_view* list) {
  SkipAny(list, ", \t");
  const std::string_view quoted = WithoutWeakMark(*list);
  const size_t end = StartsWith(quoted, "\"") ? quoted.find('"', 1) : std::string_view::npos;
  if (end == std::string_view::npos) return {};
  const std::string_view tag = list->substr(0, list->size() - quoted.size() + end + 1);
  list->remove_prefix(tag.size());
  SkipAny(list, kBlanks);
  return list->empty() || list->front() == ',' ? tag : std::string_view();
}

bool AreEqual(std::string_view one, std::string_view other, TagComparison comparison) {
  if (comparison == TagComparison::kWeak) return WithoutWeakMark(one) == WithoutWeakMark(other);
  return one == other && !StartsWith(one, kWeakMark);
}

}  // namespace

std::string EntityTag(const struct stat& file) {
  char tag[96];
  snprintf(tag, sizeof(tag), "\"%" PRIx64 "-%" PRIx64 "-%" PRIx64 "-%" PRIx64 "\"",
           std::uint64_t{file.st_ino}, static_cast<std::uint64_t>(file.st_size),
           static_cast<std::uint64_t>(Nanoseconds(file.st_mtim)),
           static_cast<std::uint64_t>(Nanoseconds(file.st_ctim)));
  return tag;
}

void WaitOutClockTick(const struct stat& file) {
  timespec tick{};
  timespec now{};
  clock_getres(CLOCK_REALTIME_COARSE, &tick);
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  const std::int64_t age = Nanoseconds(now) - Nanoseconds(file.st_ctim);
  if (age < 0 || age >= Nanoseconds(tick)) return;
  while (nanosleep(&tick, &tick) != 0) {
  }
}

bool IsListed(const std::string& tag, const std::string& tags, TagComparison comparison) {
  std::string_view list = tags;
  SkipAny(&list, kBlanks);
  if (!list.empty() && list.find_last_not_of(kBlanks) == 0 && list.front() == '*') return true;
  for (std::string_view listed = TakeTag(&list); !listed.empty(); listed = TakeTag(&list)) {
    if (AreEqual(listed, tag, comparison)) return true;
  }
  return false;
}

}  // namespace vexaplatform
