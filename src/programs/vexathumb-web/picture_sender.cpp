#include "programs/vexathumb-web/picture_sender.h"

#include <stdio_ext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "http/http_file_responder.h"
#include "programs/vexathumb-web/problem.h"
#include "service/base/path_name.h"
#include "service/serve/cache_control.h"
#include "vexaplatform/http_delivery.h"

namespace vexathumb::web {
namespace {

class ThrowAway {
 public:
  explicit ThrowAway(std::string path) : path_(std::move(path)) {}
  ~ThrowAway() { unlink(path_.c_str()); }
  ThrowAway(const ThrowAway&) = delete;
  ThrowAway& operator=(const ThrowAway&) = delete;

 private:
  std::string path_;
};

// The request's variables as the process's environment, where the platform reads the request's
// conditions and ranges, only while a response is sent: tools are started without them. What the
// process itself was started with goes first.
class RequestEnvironment {
 public:
  explicit RequestEnvironment(char** variables) : before_(environ) {
    if (variables == environ) return;
    for (char** entry = environ; *entry != nullptr; ++entry) entries_.push_back(*entry);
    for (char** entry = variables; *entry != nullptr; ++entry) entries_.push_back(*entry);
    entries_.push_back(nullptr);
    environ = entries_.data();
  }
  ~RequestEnvironment() { environ = before_; }
  RequestEnvironment(const RequestEnvironment&) = delete;
  RequestEnvironment& operator=(const RequestEnvironment&) = delete;

 private:
  char** before_;
  std::vector<char*> entries_;
};

int SendTurned(const service::Thumbnail& picture, const service::ThumbnailRequest& asked,
               const Request& request) {
  JpegTranCmd turner(service::Describe(asked), picture.path, "", true);
  FILE* const turned = turner.popen();
  const RequestEnvironment environment(request.variables);
  const std::string name = service::LastComponent(picture.path);
  return HttpFileResponder().Output(turned, name.c_str(), picture.mime.c_str());
}

int SendFile(const service::Thumbnail& picture, const Request& request) {
  const RequestEnvironment environment(request.variables);
  // The web server would read it when it is gone.
  if (picture.owner == service::Owner::kCaller) {
    return vexaplatform::SendFileFromHere(picture.path.c_str(), picture.mime.c_str());
  }
  return HttpFileResponder().Output(picture.path.c_str(), picture.mime.c_str());
}

}  // namespace

void SendPicture(const service::Thumbnail& picture, const service::ThumbnailRequest& asked,
                 const Request& request) {
  std::optional<ThrowAway> throw_away;
  if (picture.owner == service::Owner::kCaller) throw_away.emplace(picture.path);
  fputs(request.is_personal ? service::kPrivateCacheControlLine : service::kCacheControlLine,
        stdout);
  const int result =
      picture.turns_to_come != 0 ? SendTurned(picture, asked, request) : SendFile(picture, request);
  // What is still in the buffer is the line above: nothing has been sent.
  if (result == 0 || __fpending(stdout) == 0) return;
  if (errno == ENOENT) throw NotFound();
  throw Problem(500, "The picture cannot be read.");
}

}  // namespace vexathumb::web
