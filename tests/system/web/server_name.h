#ifndef VEXATHUMB_TESTS_SYSTEM_WEB_SERVER_NAME_H_
#define VEXATHUMB_TESTS_SYSTEM_WEB_SERVER_NAME_H_

#include <gtest/gtest.h>

#include <string>

#include "system/web/web_site.h"

namespace vexathumb::web_test {

inline std::string NameOf(WebServer server) {
  return server == WebServer::kNginx ? "Nginx" : "Lighttpd";
}

// Names the cases of a table of web servers.
struct ServerName {
  std::string operator()(const testing::TestParamInfo<WebServer>& info) const {
    return NameOf(info.param);
  }
};

}  // namespace vexathumb::web_test

#endif  // VEXATHUMB_TESTS_SYSTEM_WEB_SERVER_NAME_H_
