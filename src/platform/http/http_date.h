#ifndef VEXAPLATFORM_HTTP_HTTP_DATE_H_
#define VEXAPLATFORM_HTTP_HTTP_DATE_H_

#include <ctime>
#include <optional>
#include <string>

namespace vexaplatform {

// A time as HTTP writes it: "Sun, 06 Nov 1994 08:49:37 GMT".
std::string HttpDate(time_t time);

// The time of a date in that form or in one of the two that only old clients send:
//
//   Sunday, 06-Nov-94 08:49:37 GMT
//   Sun Nov  6 08:49:37 1994
//
// A year of two digits is at most 50 years after `now`. Nothing for any other text.
std::optional<time_t> ParseHttpDate(const std::string& text, time_t now);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_HTTP_DATE_H_
