#include "platform/tool/tool_plan.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/tool/landlock.h"
#include "platform/tool/path_aliases.h"
#include "platform/tool/private_folder.h"
#include "platform/tool/seccomp_filter.h"
#include "platform/tool/tool_environment.h"
#include "platform/tool/tool_policy.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {
namespace {

// What dynamic linking, the C library, ImageMagick and its decoders read.
constexpr const char* kSystemPaths[] = {"/usr",
                                        "/lib",
                                        "/lib64",
                                        "/etc/ld.so.cache",
                                        "/etc/ld.so.preload",
                                        "/etc/ImageMagick-6",
                                        "/etc/ImageMagick-7",
                                        "/etc/fonts",
                                        "/etc/localtime",
                                        "/sys/devices/system/cpu",
                                        "/sys/kernel/mm/transparent_hugepage",
                                        "/dev/zero",
                                        "/dev/random",
                                        "/dev/urandom"};

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

ToolLimits LimitsOf(const ToolSettings& settings, const std::string& program) {
  const auto found = settings.limits.find(program.substr(program.rfind('/') + 1));
  return found == settings.limits.end() ? settings.limits.at("other") : found->second;
}

void AllowPaths(ToolPlan* plan) {
  ToolLaunch& launch = plan->launch;
  for (const char* path : kSystemPaths) launch.rules.push_back({path, PathUse::kReadSystem});
  launch.rules.push_back({launch.program, PathUse::kReadSystem});
  launch.rules.push_back({"/dev/null", PathUse::kWriteDevice});
  launch.rules.push_back({plan->paths.source.path, PathUse::kRead});
  if (plan->tool == Tool::kConvert && !ToolPolicyFolder().empty()) {
    launch.rules.push_back({ToolPolicyFolder(), PathUse::kReadSystem});
  }
  if (!launch.private_folder.empty()) {
    launch.rules.push_back({launch.private_folder, PathUse::kTemporary});
  }
  if (plan->tool == Tool::kMv) {
    launch.rules.push_back({FolderOf(plan->paths.source.path), PathUse::kMoveFrom});
    launch.rules.push_back({FolderOf(plan->staged), PathUse::kMoveTo});
  } else if (!launch.destination.empty()) {
    launch.rules.push_back({launch.destination, PathUse::kReadAndWrite});
  }
}

void Confine(ToolPlan* plan) {
  ToolLaunch& launch = plan->launch;
  launch.confined = true;
  if (HasSeccomp()) {
    launch.filter =
        ToolFilter(plan->tool == Tool::kMv ? ModeChanges::kAllowed : ModeChanges::kDenied);
  }
  if (plan->paths.understood && LandlockVersion() > 0) AllowPaths(plan);
}

// mv writes beside its destination: into a folder of that name it would move, and what it could not
// finish it would leave there.
bool Stage(ToolPlan* plan) {
  static std::atomic<unsigned> count{0};
  const PathArgument& destination = plan->paths.destination;
  struct stat status {};
  if (lstat(destination.path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    return false;
  }
  plan->staged = FolderOf(destination.path) + "/VEXATHUMBTMP_" + std::to_string(getpid()) + "_" +
                 std::to_string(time(nullptr)) + "_" + std::to_string(count++) + "_mv";
  plan->launch.arguments[destination.index] = plan->staged;
  plan->launch.destination = plan->staged;
  return true;
}

bool PlanPaths(const ToolSettings& settings, ToolPlan* plan) {
  if (plan->tool == Tool::kMv) return Stage(plan);
  ToolLaunch& launch = plan->launch;
  launch.destination = plan->paths.destination.path;
  launch.make_destination = !launch.destination.empty();
  if (plan->tool != Tool::kConvert) return true;
  launch.private_folder = PrivateFolderName(settings.temp_dir);
  return GiveAliases(plan->paths, &launch);
}

}  // namespace

std::unique_ptr<ToolPlan> PlanTool(const char* program, const char* const argv[]) {
  const auto settings = CurrentSettings();
  auto plan = std::make_unique<ToolPlan>();
  ToolLaunch& launch = plan->launch;
  launch.program = program;
  for (; *argv != nullptr; ++argv) launch.arguments.emplace_back(*argv);
  launch.limits = LimitsOf(settings->tools, launch.program);
  plan->tool = ToolOf(launch.program);
  plan->paths = FindToolPaths(plan->tool, launch.arguments);
  if (plan->paths.understood && !PlanPaths(settings->tools, plan.get())) return nullptr;
  if (plan->tool != Tool::kOther && settings->tools.confinement) Confine(plan.get());
  launch.environment =
      ToolEnvironment(plan->tool, plan->paths, launch.limits, launch.private_folder);
  return plan;
}

}  // namespace vexaplatform
