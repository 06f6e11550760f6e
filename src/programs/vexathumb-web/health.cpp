#include "programs/vexathumb-web/health.h"

#include <system_error>

#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"
#include "programs/vexathumb-web/response.h"
#include "service/base/lock_file.h"

namespace vexathumb::web {

void SendHealth(const Request& request, const vexaplatform::Settings& settings) {
  const Query none(request.query, {});
  if (!request.path.empty()) throw NotFound();
  if (!settings.error.empty()) throw Problem(503, "The settings are broken.");
  try {
    const service::LockFile usable(settings.service.lock_dir, "health");
  } catch (const std::system_error&) {
    throw Problem(503, "The lock folder cannot be used.");
  }
  SendJson(R"({"status":"ok"})", request);
}

}  // namespace vexathumb::web
