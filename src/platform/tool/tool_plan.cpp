#include "platform/tool/tool_plan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "platform/tool/allowed_calls.h"
#include "platform/tool/path_aliases.h"
#include "platform/tool/private_folder.h"
#include "platform/tool/tool_environment.h"
#include "platform/tool/tool_policy.h"
#include "posix/random_name.h"
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

void AllowSystem(ToolPlan* plan) {
  ToolOrder& order = plan->order;
  for (const char* path : kSystemPaths) order.rules.push_back({path, PathUse::kReadSystem});
  order.rules.push_back({order.program, PathUse::kReadSystem});
  order.rules.push_back({"/dev/null", PathUse::kWriteDevice});
  if (plan->tool == Tool::kConvert && !ToolPolicyFolder().empty()) {
    order.rules.push_back({ToolPolicyFolder(), PathUse::kReadSystem});
  }
}

void AllowPaths(ToolPlan* plan) {
  ToolOrder& order = plan->order;
  const std::string& source = plan->paths.source.path;
  order.rules.push_back({source, PathUse::kRead, ExpectationFor(source)});
  if (!order.private_folder.empty()) {
    order.rules.push_back({order.private_folder, PathUse::kTemporary});
  }
  if (plan->tool == Tool::kMv) {
    order.rules.push_back({FolderOf(plan->paths.source.path), PathUse::kMoveFrom});
    order.rules.push_back({FolderOf(plan->staged), PathUse::kMoveTo});
  } else if (!order.destination.empty()) {
    order.rules.push_back({order.destination, PathUse::kDestination});
  }
}

// A tool whose vector is not understood has its standard streams and no other file of anybody's.
void Confine(ToolPlan* plan) {
  ToolOrder& order = plan->order;
  order.confined = true;
  if (HasSeccomp()) order.filter = ToolFilter(plan->tool);
  const bool may_write = plan->paths.understood || plan->tool == Tool::kOnFiles;
  if (!may_write) order.limits.file_size = 0;  // for want of Landlock
  if (LandlockVersion() == 0) return;
  AllowSystem(plan);
  if (plan->paths.understood) AllowPaths(plan);
}

// mv writes beside its destination: into a folder of that name it would move, and what it could not
// finish it would leave there.
bool Stage(ToolPlan* plan) {
  const PathArgument& destination = plan->paths.destination;
  struct stat status {};
  if (lstat(destination.path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    return false;
  }
  plan->staged =
      FolderOf(destination.path) + "/VEXATHUMBTMP_" + vexathumb::posix::RandomName() + "_mv";
  plan->order.arguments[destination.index] = plan->staged;
  plan->order.destination = plan->staged;
  return true;
}

bool PlanPaths(const ToolSettings& settings, ToolPlan* plan) {
  if (plan->tool == Tool::kMv) return Stage(plan);
  ToolOrder& order = plan->order;
  order.source = plan->paths.source.path;
  order.destination = plan->paths.destination.path;
  order.make_destination = !order.destination.empty();
  if (plan->tool != Tool::kConvert) return true;
  order.private_folder = PrivateFolderName(settings.temp_dir);
  return GiveAliases(plan->paths, &order);
}

std::unique_ptr<ToolPlan> BeginPlan(const ToolSettings& settings, const char* program,
                                    const char* const argv[]) {
  auto plan = std::make_unique<ToolPlan>();
  ToolOrder& order = plan->order;
  order.program = program;
  for (; *argv != nullptr; ++argv) order.arguments.emplace_back(*argv);
  order.limits = LimitsOf(settings, order.program);
  return plan;
}

}  // namespace

std::unique_ptr<ToolPlan> PlanTool(const char* program, const char* const argv[]) {
  const auto settings = CurrentSettings();
  auto plan = BeginPlan(settings->tools, program, argv);
  ToolOrder& order = plan->order;
  plan->tool = ToolOf(order.program);
  plan->paths = FindToolPaths(plan->tool, order.arguments);
  if (plan->paths.understood && !PlanPaths(settings->tools, plan.get())) return nullptr;
  if (plan->tool != Tool::kOther && settings->tools.confinement) Confine(plan.get());
  order.environment = ToolEnvironment(plan->tool, plan->paths, order.limits, order.private_folder);
  return plan;
}

std::unique_ptr<ToolPlan> PlanToolOnFiles(const char* program, const char* const argv[],
                                          int output) {
  const auto settings = CurrentSettings();
  auto plan = BeginPlan(settings->tools, program, argv);
  plan->tool = Tool::kOnFiles;
  plan->output = output;
  if (settings->tools.confinement) Confine(plan.get());
  plan->order.environment = ToolEnvironment(plan->tool, {}, plan->order.limits, "");
  return plan;
}

}  // namespace vexaplatform
