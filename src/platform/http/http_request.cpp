#include "platform/http/http_request.h"

#include <cstdlib>

namespace vexaplatform {
namespace {

void Take(const char* variable, std::string* target) {
  const char* value = getenv(variable);
  if (value != nullptr && value[0] != '\0') *target = value;
}

}  // namespace

HttpRequest CurrentHttpRequest() {
  HttpRequest request;
  Take("REQUEST_METHOD", &request.method);
  Take("HTTP_RANGE", &request.range);
  Take("HTTP_IF_RANGE", &request.if_range);
  Take("HTTP_IF_MATCH", &request.if_match);
  Take("HTTP_IF_NONE_MATCH", &request.if_none_match);
  Take("HTTP_IF_MODIFIED_SINCE", &request.if_modified_since);
  Take("HTTP_IF_UNMODIFIED_SINCE", &request.if_unmodified_since);
  return request;
}

}  // namespace vexaplatform
