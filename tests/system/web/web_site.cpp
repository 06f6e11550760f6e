#include "system/web/web_site.h"

#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "kit/files.h"
#include "kit/run_tool.h"
#include "system/web/processes.h"

namespace vexathumb::web_test {
namespace {

int ListenAt(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  unlink(path.c_str());
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(fd, 512) != 0) {
    throw std::runtime_error("no socket at " + path);
  }
  chmod(path.c_str(), 0666);
  return fd;
}

std::string UserName() {
  const passwd* const user = getpwuid(geteuid());
  return user != nullptr ? user->pw_name : "nobody";
}

}  // namespace

WebSite::WebSite(const SiteOptions& options) : options_(options) {
  for (const char* folder : {"photos", "indexed", "run"}) {
    std::filesystem::create_directory(state_ / folder);
  }
  std::filesystem::copy(PAGE, state_ / "page", std::filesystem::copy_options::recursive);
  WriteSettings();
  Start();
}

WebSite::~WebSite() { Stop(); }

std::string WebSite::Url(const std::string& address) const {
  return "http://127.0.0.1:" + std::to_string(port_) + address;
}

std::vector<pid_t> WebSite::Workers() const {
  if (!own_workers_.empty()) return own_workers_;
  std::vector<pid_t> workers;
  for (const Process& process : ProcessesBelow(server_)) {
    if (process.parent == server_) workers.push_back(process.pid);
  }
  return workers;
}

long long WebSite::BytesWrittenByWorkers() const {
  long long sum = 0;
  for (const pid_t worker : Workers()) {
    std::ifstream counters("/proc/" + std::to_string(worker) + "/io");
    long long bytes = 0;
    for (std::string name; counters >> name >> bytes;) {
      if (name == "wchar:") sum += bytes;
    }
  }
  return sum;
}

bool WebSite::SendsItself(const std::string& address) const {
  const long long before = BytesWrittenByWorkers();
  const HttpResponse response = Get(address);
  const auto size = static_cast<long long>(response.body.size());
  return response.status == 200 && BytesWrittenByWorkers() - before < size / 2;
}

void WebSite::WriteSettings() const {
  std::string http = "delivery = self\n";
  if (options_.delivery == Delivery::kByServer) {
    http = options_.server == WebServer::kNginx
               ? "delivery = x-accel-redirect\nmap = " + State("photos") +
                     " = /files/photos\nmap = " + State("indexed") + " = /files/indexed\n"
               : "delivery = x-sendfile\n";
  }
  kit::WriteFile(State("platform.ini"),
                 "[store]\n" + options_.store + "[share photos]\npath = " + State("photos") +
                     "\n[share indexed]\npath = " + State("indexed") +
                     "\nindexed = yes\n[service]\nengine = " + options_.engine +
                     "\nlock_dir = " + State("lock") + "\n" + options_.service + "[http]\n" + http);
}

// A program that starts vexathumb-web with the environment of the options.
std::string WebSite::WriteProgram() const {
  std::string script = "#!/bin/sh\nexport VEXATHUMB_CONFIG=" + State("platform.ini") + "\n";
  for (const std::string& variable : options_.environment) script += "export " + variable + "\n";
  script += options_.is_socket_passed ? "LISTEN_PID=$$ LISTEN_FDS=1 exec " VEXATHUMB_WEB
                                        " 3<&0 0</dev/null\n"
                                      : "exec " VEXATHUMB_WEB "\n";
  kit::WriteFile(State("vexathumb-web"), script);
  chmod(State("vexathumb-web").c_str(), 0755);
  return State("vexathumb-web");
}

void WebSite::Start() {
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    port_ = FreePort();
    options_.server == WebServer::kNginx ? StartNginx() : StartLighttpd();
    if (BecomesHealthy()) return;
    Stop();
  }
  throw std::runtime_error("the web server does not start");
}

void WebSite::StartLighttpd() {
  kit::WriteFile(
      State("lighttpd.conf"),
      kit::RunTool(
          {DEPLOY "/render", DEPLOY "/lighttpd.conf.in", "ADDRESS=127.0.0.1",
           "PORT=" + std::to_string(port_), "PAGE=" + State("page"), "STATE=" + State("run"),
           "LOG=" + State("run/log"), "PROGRAM=" + WriteProgram(),
           "SETTINGS=" + State("platform.ini"), "WORKERS=" + std::to_string(options_.workers),
           "FOLDERS=\"" + State("photos") + "\", \"" + State("indexed") + "\"", "LINKS=disable"}));
  server_ = StartProgram({"/usr/sbin/lighttpd", "-D", "-f", State("lighttpd.conf")});
}

void WebSite::StartNginx() {
  const int listening = ListenAt(State("web.sock"));
  const std::string program = WriteProgram();
  for (int i = 0; i < options_.workers; ++i) {
    own_workers_.push_back(StartProgram({program}, listening));
  }
  close(listening);
  std::string locations;
  for (const char* share : {"photos", "indexed"}) {
    locations += kit::RunTool({DEPLOY "/render", DEPLOY "/nginx-files.conf.in",
                               "FOLDER=" + State(share), "URI=/files/" + std::string(share)});
  }
  kit::WriteFile(State("nginx.conf"),
                 kit::RunTool({DEPLOY "/render", DEPLOY "/nginx.conf.in", "ADDRESS=127.0.0.1",
                               "PORT=" + std::to_string(port_), "PAGE=" + State("page"),
                               "STATE=" + State("run"), "LOG=" + State("run/log"),
                               "SOCKET=" + State("web.sock"), "USER=" + UserName(),
                               "LOCATIONS=" + locations}));
  server_ = StartProgram({"/usr/sbin/nginx", "-c", State("nginx.conf"), "-e",
                          State("run/nginx.log"), "-g", "daemon off;"});
}

bool WebSite::BecomesHealthy() {
  return Eventually([this] {
           return waitpid(server_, nullptr, WNOHANG) != 0 || Get("/health").status == 200;
         }) &&
         Get("/health").status == 200;
}

void WebSite::Stop() {
  EndProgram(server_);
  for (const pid_t worker : own_workers_) EndProgram(worker);
  own_workers_.clear();
}

}  // namespace vexathumb::web_test
