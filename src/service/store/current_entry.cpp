#include "service/store/current_entry.h"

#include <cstdint>
#include <limits>

#include "service/picture/content_type.h"
#include "service/store/source_mark.h"

namespace vexathumb::service {
namespace {

using Says = SourceMark::Says;

// A store may lie on a file system that cannot hold the source's time, and keeps the next that it
// can; the narrowest of those in use count seconds in 32 bits.
bool MayBeCutShort(time_t time) {
  return time < std::numeric_limits<int32_t>::min() || time > std::numeric_limits<int32_t>::max();
}

bool CarriesTime(const struct stat& status, const struct stat& source, Says says) {
  if (status.st_mtime == source.st_mtime) return says != Says::kOtherSource;
  return says == Says::kSameSource && MayBeCutShort(source.st_mtime);
}

// Asks for the mark only where it matters.
SourceMark MarkFor(const std::string& stored, const struct stat& status,
                   const struct stat& source) {
  const bool matters = status.st_mtime == source.st_mtime || MayBeCutShort(source.st_mtime);
  return matters ? ReadSourceMark(stored, status, source) : SourceMark();
}

}  // namespace

bool IsCurrentEntry(const std::string& stored, const struct stat& source) {
  struct stat status = {};
  const bool is_file = !stored.empty() && lstat(stored.c_str(), &status) == 0 &&
                       S_ISREG(status.st_mode) && status.st_size > 0;
  if (!is_file) return false;
  const SourceMark mark = MarkFor(stored, status, source);
  if (!CarriesTime(status, source, mark.says)) return false;
  return mark.is_untouched || !ContentTypeOf(stored).value_or("").empty();
}

bool IsMadeOf(const std::string& stored, const struct stat& status, const struct stat& source) {
  return CarriesTime(status, source, MarkFor(stored, status, source).says);
}

}  // namespace vexathumb::service
