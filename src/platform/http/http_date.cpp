#include "platform/http/http_date.h"

#include <locale.h>

#include <algorithm>

namespace vexaplatform {
namespace {

constexpr char kFixedLength[] = "%a, %d %b %Y %H:%M:%S GMT";
constexpr char kTwoDigitYear[] = "%A, %d-%b-%y %H:%M:%S GMT";
constexpr char kAsctime[] = "%a %b %e %H:%M:%S %Y";

// The host's locale must not translate days and months.
locale_t PlainLocale() {
  static const locale_t kLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return kLocale;
}

bool Parse(const std::string& text, const char* form, struct tm* calendar) {
  *calendar = {};
  const char* rest = strptime_l(text.c_str(), form, calendar, PlainLocale());
  return rest == text.c_str() + text.size();
}

// Sets the year to the one that its last two digits mean.
void ResolveCentury(time_t now, struct tm* calendar) {
  struct tm today {};
  gmtime_r(&now, &today);
  const int this_century = today.tm_year - today.tm_year % 100;
  calendar->tm_year = this_century + calendar->tm_year % 100;
  if (calendar->tm_year > today.tm_year + 50) calendar->tm_year -= 100;
}

// Nothing for a day that its month does not have.
std::optional<time_t> TimeOf(struct tm calendar) {
  const int day = calendar.tm_mday;
  calendar.tm_sec = std::min(calendar.tm_sec, 59);  // a leap second has no time of its own
  const time_t time = timegm(&calendar);
  if (calendar.tm_mday != day) return std::nullopt;
  return time;
}

}  // namespace

std::string HttpDate(time_t time) {
  struct tm calendar {};
  gmtime_r(&time, &calendar);
  char date[64];
  return {date, strftime_l(date, sizeof(date), kFixedLength, &calendar, PlainLocale())};
}

std::optional<time_t> ParseHttpDate(const std::string& text, time_t now) {
  struct tm calendar {};
  if (Parse(text, kFixedLength, &calendar) || Parse(text, kAsctime, &calendar)) {
    return TimeOf(calendar);
  }
  if (!Parse(text, kTwoDigitYear, &calendar)) return std::nullopt;
  ResolveCentury(now, &calendar);
  return TimeOf(calendar);
}

}  // namespace vexaplatform
