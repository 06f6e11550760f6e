#include "programs/vexathumb-web/query.h"

#include <algorithm>
#include <charconv>

#include "programs/vexathumb-web/problem.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

std::string Decode(std::string_view encoded) {
  std::string text(encoded);
  std::replace(text.begin(), text.end(), '+', ' ');
  const auto decoded = service::PercentDecode(text);
  if (!decoded) throw Problem(400, "The parameters are not percent-encoded soundly.");
  return *decoded;
}

}  // namespace

Query::Query(std::string_view text, std::initializer_list<std::string_view> known) {
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    const std::string name = Decode(pair.substr(0, pair.find('=')));
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      throw Problem(400, "There is no parameter \"" + name + "\" here.");
    }
    const size_t equals = pair.find('=');
    const std::string value =
        equals == std::string_view::npos ? "" : Decode(pair.substr(equals + 1));
    if (!values_.emplace(name, value).second) {
      throw Problem(400, "The parameter \"" + name + "\" is given twice.");
    }
    text.remove_prefix(std::min(text.size(), pair.size() + 1));
  }
}

std::optional<std::string> Query::Text(const std::string& name) const {
  const auto found = values_.find(name);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

std::optional<int> Query::Number(const std::string& name, int least, int most) const {
  const auto text = Text(name);
  if (!text) return std::nullopt;
  const auto number = ParseNumber(*text, least, most);
  if (number) return number;
  throw Problem(400, "The parameter \"" + name + "\" is a number from " + std::to_string(least) +
                         " to " + std::to_string(most) + ".");
}

bool Query::IsSet(const std::string& name) const {
  const auto text = Text(name);
  if (text && *text != "1") throw Problem(400, "The parameter \"" + name + "\" is 1 or not given.");
  return text.has_value();
}

std::optional<int> ParseNumber(std::string_view text, int least, int most) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > most) return std::nullopt;
  return number;
}

}  // namespace vexathumb::web
