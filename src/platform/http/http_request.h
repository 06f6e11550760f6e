#ifndef VEXAPLATFORM_HTTP_HTTP_REQUEST_H_
#define VEXAPLATFORM_HTTP_HTTP_REQUEST_H_

#include <string>

namespace vexaplatform {

// What a client asks for besides the address. A header that it did not send is empty.
struct HttpRequest {
  std::string method = "GET";
  std::string range;
  std::string if_range;
  std::string if_match;
  std::string if_none_match;
  std::string if_modified_since;
  std::string if_unmodified_since;
};

// The request in the environment variables of CGI, as they are now: a process that serves one
// request after the other replaces them. A GET without conditions where there are none.
HttpRequest CurrentHttpRequest();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_HTTP_REQUEST_H_
