#ifndef VEXATHUMB_TESTS_KIT_EXPOSITION_H_
#define VEXATHUMB_TESTS_KIT_EXPOSITION_H_

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vexathumb::kit {

// Reads figures in Prometheus' text format, version 0.0.4, as strictly as any reader may: the value
// of each line by what stands before it, `name{label="value",...}`. Throws std::runtime_error.
inline std::map<std::string, double> ReadExposition(const std::string& text) {
  static const std::regex kHelp(R"(# HELP ([a-z_]+) [^\\]+)");
  static const std::regex kType(R"(# TYPE ([a-z_]+) (counter|gauge))");
  static const std::regex kSample(
      R"re((([a-z_]+)(\{[a-z]+="[a-z0-9_]+"(,[a-z]+="[a-z0-9_]+")*\})?) ([0-9]+(\.[0-9]+)?))re");
  std::map<std::string, double> samples;
  std::set<std::string> families;
  std::string helped;
  std::string family;
  if (text.empty() || text.back() != '\n') throw std::runtime_error("the last line has no end");
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_match(line, match, kHelp)) {
      helped = match[1];
      if (!families.insert(helped).second) throw std::runtime_error("again: " + line);
    } else if (std::regex_match(line, match, kType)) {
      family = match[1];
      const std::string end = "_total";
      const bool is_total = family.size() > end.size() &&
                            family.compare(family.size() - end.size(), end.size(), end) == 0;
      if (family != helped || is_total != (match[2] == "counter")) {
        throw std::runtime_error("odd type: " + line);
      }
    } else if (std::regex_match(line, match, kSample)) {
      if (match[2] != family) throw std::runtime_error("outside its family: " + line);
      if (!samples.emplace(match[1], std::stod(match[5])).second) {
        throw std::runtime_error("twice: " + line);
      }
    } else {
      throw std::runtime_error("no line of the format: " + line);
    }
  }
  return samples;
}

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_EXPOSITION_H_
