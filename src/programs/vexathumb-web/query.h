#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_QUERY_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_QUERY_H_

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vexathumb::web {

// The parameters of a request. All operations throw Problem 400, naming the parameter.
//
//   const Query query(request.query, {"sort", "offset"});
//   const int offset = query.Number("offset", 0, 1000).value_or(0);
class Query {
 public:
  // Takes "name=value&name=value", percent-encoded, "+" for a blank. No parameter may be unknown or
  // given twice.
  Query(std::string_view text, std::initializer_list<std::string_view> known);

  std::optional<std::string> Text(const std::string& name) const;

  // Decimal digits.
  std::optional<int> Number(const std::string& name, int least, int most) const;

  // Whether it is given, as "1".
  bool IsSet(const std::string& name) const;

 private:
  std::map<std::string, std::string> values_;
};

// Decimal digits from `least` to `most`.
std::optional<int> ParseNumber(std::string_view text, int least, int most);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_QUERY_H_
