#include "vexaplatform/confinement.h"

#include "platform/tool/landlock.h"
#include "platform/tool/seccomp_filter.h"
#include "platform/tool/tool_policy.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {

Confinement AskConfinement() {
  const auto settings = CurrentSettings();
  return {settings->tools.confinement, LandlockVersion(),
          HasSeccomp() && !ToolFilter(Tool::kOther).empty(), ToolPolicyFolder(),
          settings->tools.temp_dir};
}

}  // namespace vexaplatform
