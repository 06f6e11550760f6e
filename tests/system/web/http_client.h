#ifndef VEXATHUMB_TESTS_SYSTEM_WEB_HTTP_CLIENT_H_
#define VEXATHUMB_TESTS_SYSTEM_WEB_HTTP_CLIENT_H_

#include <map>
#include <string>
#include <vector>

namespace vexathumb::web_test {

struct HttpResponse {
  long status = 0;                             // 0: no answer
  std::map<std::string, std::string> headers;  // names in lower case; equal ones joined by ", "
  std::string body;
  bool is_whole = false;  // as long as the headers say

  // Empty when there is none.
  std::string Header(const std::string& name) const;
};

struct HttpRequest {
  std::string method = "GET";
  std::vector<std::string> headers = {};  // "Name: value"
};

// Asks a server, the address as it is. Callable from several threads.
HttpResponse Ask(const std::string& url, const HttpRequest& request = {});

// Asks, reads some of the answer's body and goes away.
void AskAndLeave(const std::string& url);

}  // namespace vexathumb::web_test

#endif  // VEXATHUMB_TESTS_SYSTEM_WEB_HTTP_CLIENT_H_
