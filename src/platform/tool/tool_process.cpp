#include "platform/tool/tool_process.h"

#include <sys/prctl.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "platform/base/bare_calls.h"
#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "platform/tool/tool_usage.h"

namespace vexaplatform {
namespace {

constexpr rlim_t kMiB = 1 << 20;
constexpr rlim_t kGraceSeconds = 5;  // between the signal that can be handled and SIGKILL

// A limit of the host's own that is lower stays.
bool SetLimit(int resource, rlim_t soft, rlim_t hard) {
  rlimit limit{};
  if (getrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) return false;
  if (hard < limit.rlim_max) limit.rlim_max = hard;
  limit.rlim_cur = soft < limit.rlim_max ? soft : limit.rlim_max;
  return setrlimit(static_cast<__rlimit_resource>(resource), &limit) == 0;
}

// The kernel counts all threads of a user, wherever they belong to, and those of root not at all.
// However many this user has now, they are among those of the machine.
bool LimitTasks(const ToolLimits& limits) {
  const rlim_t others = TasksOfMachine();
  const rlim_t tasks = others + static_cast<rlim_t>(limits.tasks);
  return others == 0 || SetLimit(RLIMIT_NPROC, tasks, tasks);
}

bool SetLimits(const ToolLimits& limits) {
  const auto memory = static_cast<rlim_t>(limits.address_space) * kMiB;
  const auto cpu = static_cast<rlim_t>(limits.cpu_time);
  const auto file = static_cast<rlim_t>(limits.file_size) * kMiB;
  const auto files = static_cast<rlim_t>(limits.open_files);
  return SetLimit(RLIMIT_AS, memory, memory) && SetLimit(RLIMIT_CPU, cpu, cpu + kGraceSeconds) &&
         SetLimit(RLIMIT_FSIZE, file, file) && SetLimit(RLIMIT_NOFILE, files, files) &&
         SetLimit(RLIMIT_CORE, 0, 0) && LimitTasks(limits);
}

// The supervisor has /dev/null as its standard streams.
bool TakeStreams(const ToolStart& start) {
  if (start.input >= 0 && bare::DuplicateTo(start.input, STDIN_FILENO) < 0) return false;
  if (start.output >= 0 && bare::DuplicateTo(start.output, STDOUT_FILENO) < 0) return false;
  return bare::DuplicateTo(start.messages, STDERR_FILENO) >= 0;
}

void ResetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) bare::ResetSignal(signal);
  bare::UnblockSignals();
}

bool Confine(const ToolOrder& order, int ruleset) {
  if (!order.confined) return true;
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return false;
  if (ruleset >= 0 && EnterLandlockRuleset(ruleset) != 0) return false;
  return order.filter.empty() || EnterFilter(order.filter) == 0;
}

bool Prepare(const ToolOrder& order, const ToolStart& start) {
  if (setpgid(0, 0) != 0 || prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) return false;
  if (getppid() != start.parent) return false;  // it died before
  if (!TakeStreams(start)) return false;
  ResetSignals();
  return SetLimits(order.limits) && Confine(order, start.ruleset);
}

}  // namespace

void BecomeTool(const ToolOrder& order, const ToolStart& start, int* error) {
  if (Prepare(order, start)) {
    bare::CloseRange(STDERR_FILENO + 1, INT_MAX);
    execve(order.program.c_str(), start.argv, start.envp);
  }
  *error = errno;
  for (;;) syscall(SYS_exit_group, 127);
}

}  // namespace vexaplatform
