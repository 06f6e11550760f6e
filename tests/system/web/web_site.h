#ifndef VEXATHUMB_TESTS_SYSTEM_WEB_WEB_SITE_H_
#define VEXATHUMB_TESTS_SYSTEM_WEB_WEB_SITE_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "kit/temp_dir.h"
#include "system/web/http_client.h"

namespace vexathumb::web_test {

enum class WebServer { kLighttpd, kNginx };
enum class Delivery { kByWorker, kByServer };

struct SiteOptions {
  WebServer server = WebServer::kLighttpd;
  Delivery delivery = Delivery::kByServer;
  int workers = 4;
  std::string engine = "tools";               // or "auto"
  std::string service = {};                   // lines of the settings' section
  std::vector<std::string> environment = {};  // "NAME=value" of the workers
  std::string store = "layout = beside\n";    // lines of the settings' section
  bool is_socket_passed = false;              // the workers get their socket as systemd passes it
};

// A real web server with vexathumb-web behind it, configured by the files of deploy/, on a port of
// its own, until the object goes. State("page") is a copy of the album page. Two shares: "photos",
// and "indexed", which is indexed.
class WebSite {
 public:
  explicit WebSite(const SiteOptions& options = {});
  ~WebSite();
  WebSite(const WebSite&) = delete;
  WebSite& operator=(const WebSite&) = delete;

  // The path of a file of the share "photos", and of the folder that holds everything of the site.
  std::string Photo(const std::string& name) const { return state_ / ("photos/" + name); }
  std::string Indexed(const std::string& name) const { return state_ / ("indexed/" + name); }
  std::string State(const std::string& name) const { return state_ / name; }

  // `address` begins with a slash and is sent as it is.
  HttpResponse Get(const std::string& address, const HttpRequest& request = {}) const {
    return Ask(Url(address), request);
  }
  std::string Url(const std::string& address) const;

  // The processes of vexathumb-web.
  std::vector<pid_t> Workers() const;

  // Whether the web server, and not vexathumb-web, sends the body of this answer, which is large
  // against its headers. Nobody else asks meanwhile.
  bool SendsItself(const std::string& address) const;

 private:
  void WriteSettings() const;
  std::string WriteProgram() const;
  void Start();
  void StartLighttpd();
  void StartNginx();
  bool BecomesHealthy();
  void Stop();
  long long BytesWrittenByWorkers() const;

  SiteOptions options_;
  kit::TempDir state_;
  int port_ = 0;
  pid_t server_ = 0;
  std::vector<pid_t> own_workers_;  // where the web server does not start them
};

}  // namespace vexathumb::web_test

#endif  // VEXATHUMB_TESTS_SYSTEM_WEB_WEB_SITE_H_
