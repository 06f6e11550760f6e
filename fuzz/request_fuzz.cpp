// A request as a web server passes it on in CGI's variables: the input's lines are the variables.
#include <algorithm>
#include <sstream>

#include "fuzz/harness.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/request.h"

namespace vexathumb::web {
namespace {

void CheckRequest(char** variables) {
  try {
    const Request request = ReadRequest(variables);
    MUST_HOLD(request.variables == variables);
    if (request.route == Route::kNone) MUST_HOLD(request.path.empty());
    for (const std::string& component : request.path) {
      MUST_HOLD(component.find('\0') == std::string::npos);
    }
  } catch (const Problem& problem) {
    MUST_HOLD(problem.status() == 404 || problem.status() == 500);
  }
}

}  // namespace
}  // namespace vexathumb::web

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());  // no variable has one
  std::istringstream lines(text);
  std::vector<std::string> variables;
  for (std::string line; std::getline(lines, line);) variables.push_back(line);
  std::vector<char*> pointers;
  pointers.reserve(variables.size() + 1);
  for (std::string& variable : variables) pointers.push_back(variable.data());
  pointers.push_back(nullptr);
  vexathumb::web::CheckRequest(pointers.data());
  return 0;
}
