#include "vexaplatform/confinement.h"

#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "platform/tool/allowed_calls.h"
#include "platform/tool/tool_policy.h"
#include "platform/tool/tool_usage.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {

Confinement AskConfinement() {
  const auto settings = CurrentSettings();
  Confinement confinement;
  confinement.enabled = settings->tools.confinement;
  confinement.landlock = LandlockVersion();
  confinement.seccomp = HasSeccomp() && !ToolFilter(Tool::kOther).empty();
  confinement.usage = TellsUsage();
  confinement.policy = ToolPolicyFolder();
  confinement.temp_dir = settings->tools.temp_dir;
  return confinement;
}

}  // namespace vexaplatform
