#include "programs/vexathumb-web/answer.h"

#include <syslog.h>

#include <exception>
#include <memory>
#include <new>

#include "programs/vexathumb-web/album_handler.h"
#include "programs/vexathumb-web/health.h"
#include "programs/vexathumb-web/host_name.h"
#include "programs/vexathumb-web/metrics.h"
#include "programs/vexathumb-web/metrics_handler.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/request.h"
#include "programs/vexathumb-web/response.h"
#include "programs/vexathumb-web/thumbnail_handler.h"
#include "vexaplatform/http_delivery.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {
namespace {

// The status of the answer.
int Dispatch(const Request& request, const vexaplatform::Settings& settings) {
  constexpr int kOk = 200;
  if (request.method != "GET" && request.method != "HEAD") {
    throw Problem(405, "Only GET and HEAD are answered here.");
  }
  for (const std::string& host : request.hosts) {
    if (!IsOneOfHosts(host, settings.http.hosts)) {
      throw Problem(421, "The settings do not name this host.");
    }
  }
  switch (request.route) {
    case Route::kThumb:
      SendThumbnail(request, settings);
      return vexaplatform::LastStatus();
    case Route::kAlbum:
      SendAlbum(request, settings);
      return kOk;
    case Route::kHealth:
      SendHealth(request, settings);
      return kOk;
    case Route::kMetrics:
      SendMetrics(request, settings);
      return kOk;
    case Route::kNone:
      break;
  }
  throw NotFound();
}

// The same for whatever becomes a problem document. Throws std::bad_alloc only.
int AnswerOrRefuse(char** variables, Request* request, const vexaplatform::Settings& settings) {
  try {
    *request = ReadRequest(variables);
    return Dispatch(*request, settings);
  } catch (const Problem& problem) {
    SendProblem(problem, request->IsHead());
    return problem.status();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    syslog(LOG_ERR, "a request failed: %s", error.what());
    const Problem problem(500, "The request could not be answered.");
    SendProblem(problem, request->IsHead());
    return problem.status();
  }
}

}  // namespace

void AnswerRequest(char** variables) noexcept {
  Request request;
  std::shared_ptr<const vexaplatform::Settings> settings;
  int status = 0;
  try {
    const vexaplatform::SettingsHold hold;
    settings = vexaplatform::CurrentSettings();
    status = AnswerOrRefuse(variables, &request, *settings);
  } catch (const std::bad_alloc&) {
    // What was taken for the request has been given back.
    status = SendNoMemory(request.IsHead());
  }
  if (settings) CountAnswer(settings->service.lock_dir, request.route, status);
}

}  // namespace vexathumb::web
