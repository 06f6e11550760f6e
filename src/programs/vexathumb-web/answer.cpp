#include "programs/vexathumb-web/answer.h"

#include <syslog.h>

#include <exception>

#include "programs/vexathumb-web/album_handler.h"
#include "programs/vexathumb-web/health.h"
#include "programs/vexathumb-web/host_name.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/request.h"
#include "programs/vexathumb-web/response.h"
#include "programs/vexathumb-web/thumbnail_handler.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {
namespace {

void Dispatch(const Request& request) {
  if (request.method != "GET" && request.method != "HEAD") {
    throw Problem(405, "Only GET and HEAD are answered here.");
  }
  const vexaplatform::SettingsHold hold;
  const auto settings = vexaplatform::CurrentSettings();
  for (const std::string& host : request.hosts) {
    if (!IsOneOfHosts(host, settings->http.hosts)) {
      throw Problem(421, "The settings do not name this host.");
    }
  }
  switch (request.route) {
    case Route::kThumb:
      return SendThumbnail(request, *settings);
    case Route::kAlbum:
      return SendAlbum(request, *settings);
    case Route::kHealth:
      return SendHealth(request, *settings);
    case Route::kNone:
      throw NotFound();
  }
}

}  // namespace

void AnswerRequest(char** variables) noexcept {
  Request request;
  try {
    request = ReadRequest(variables);
    Dispatch(request);
  } catch (const Problem& problem) {
    SendProblem(problem, request.IsHead());
  } catch (const std::exception& error) {
    syslog(LOG_ERR, "a request failed: %s", error.what());
    SendProblem({500, "The request could not be answered."}, request.IsHead());
  }
}

}  // namespace vexathumb::web
