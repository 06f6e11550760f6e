#include "platform/tool/tool_answer.h"

#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

#include "platform/tool/machine_error.h"
#include "platform/tool/tool_record.h"
#include "vexaplatform/whole_picture.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

constexpr int kSignalBase = 256;

// As it may stand in a line of the log.
std::string InOneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  return text;
}

void Log(const std::string& program, const std::string& what, const std::string& source) {
  syslog(LOG_ERR, "%s:%d (%s) \"%s %s%s%s\"", "tool_answer.cpp", __LINE__, __func__,
         InOneLine(program).c_str(), what.c_str(), source.empty() ? "" : "; source ",
         InOneLine(source).c_str());
}

// `obstacle` is the path that the error is about; may be empty.
int NotRun(const std::string& program, int error, const std::string& obstacle,
           const std::string& source) {
  errno = error;
  RecordStart(program.c_str(), false);
  const std::string at = obstacle.empty() ? "" : InOneLine(obstacle) + ": ";
  Log(program, "could not be run: " + at + std::generic_category().message(error), source);
  errno = error;
  return -1;
}

int NotRun(const ToolPlan& plan, const ToolOutcome& outcome) {
  return NotRun(plan.order.program, outcome.error,
                outcome.obstacle == nullptr ? "" : outcome.obstacle, plan.paths.source.path);
}

ToolLimit LimitMet(const ToolLimits& limits, const ToolOutcome& outcome) {
  if (outcome.out_of_time) return ToolLimit::kWallTime;
  if (outcome.passed != ToolLimit::kNone) return outcome.passed;
  if (outcome.wait_status == 0) return ToolLimit::kNone;
  if (outcome.cpu_seconds >= limits.cpu_time) return ToolLimit::kCpuTime;
  if (WIFSIGNALED(outcome.wait_status)) {
    if (WTERMSIG(outcome.wait_status) == SIGXFSZ) return ToolLimit::kFileSize;
    if (WTERMSIG(outcome.wait_status) == SIGXCPU) return ToolLimit::kCpuTime;
  }
  return outcome.told;
}

std::string LimitText(ToolLimit limit, const ToolLimits& limits) {
  switch (limit) {
    case ToolLimit::kAddressSpace:
      return "address space of " + std::to_string(limits.address_space) + " MiB, or of its policy";
    case ToolLimit::kCpuTime:
      return "CPU time of " + std::to_string(limits.cpu_time) + " s";
    case ToolLimit::kWallTime:
      return "wall time of " + std::to_string(limits.wall_time) + " s";
    case ToolLimit::kFileSize:
      return "file size of " + std::to_string(limits.file_size) + " MiB";
    case ToolLimit::kWritten:
      return "written in all, " + std::to_string(limits.written) + " MiB";
    case ToolLimit::kOpenFiles:
      return "open files, " + std::to_string(limits.open_files);
    case ToolLimit::kTasks:
      return "threads at once, " + std::to_string(limits.tasks);
    case ToolLimit::kJpegMemory:
      return "memory for a JPEG of " + std::to_string(limits.jpeg_memory) + " MiB";
    case ToolLimit::kPolicy:
      return "one of ImageMagick's policy";
    case ToolLimit::kNone:
      break;
  }
  return "";
}

int Limited(const ToolPlan& plan, const ToolOutcome& outcome, ToolLimit limit) {
  const std::string text = LimitText(limit, plan.order.limits);
  Log(plan.order.program, "met its limit: " + text, plan.paths.source.path);
  RecordEnd(ToolEnding::kLimited, static_cast<int>(limit),
            MachineErrorAt(limit, plan.order.limits, outcome), text.c_str());
  return VLIBC_ENDED_BY_LIMIT;
}

int Signalled(int signal, int machine_error) {
  RecordEnd(ToolEnding::kSignalled, signal, machine_error);
  return kSignalBase + signal;
}

bool IsResultWhole(const ToolPlan& plan) {
  if (plan.output >= 0) return IsWholePicture("/proc/self/fd/" + std::to_string(plan.output));
  const bool writes_picture = plan.paths.understood && !plan.paths.destination.path.empty();
  return !writes_picture || plan.tool == Tool::kMv || IsWholePicture(plan.paths.destination.path);
}

int Exited(const ToolPlan& plan, int status, int machine_error) {
  if (status == 0 && !IsResultWhole(plan)) {
    Log(plan.order.program, "said that it succeeded, but its picture is empty or cut short",
        plan.paths.source.path);
    RecordEnd(ToolEnding::kIncomplete, 0, machine_error);
    return VLIBC_INCOMPLETE_RESULT;
  }
  RecordEnd(status == 0 ? ToolEnding::kSucceeded : ToolEnding::kExited, status, machine_error);
  return status;
}

int Ended(const ToolPlan& plan, const ToolOutcome& outcome) {
  RecordStart(plan.order.program.c_str(), true, plan.paths.destination.path.c_str());
  if (!outcome.supervised) return Signalled(SIGKILL, 0);
  const ToolLimit limit = LimitMet(plan.order.limits, outcome);
  if (limit != ToolLimit::kNone) return Limited(plan, outcome, limit);
  if (WIFSIGNALED(outcome.wait_status)) {
    return Signalled(WTERMSIG(outcome.wait_status), outcome.machine_error);
  }
  return Exited(plan, WEXITSTATUS(outcome.wait_status), outcome.machine_error);
}

// What mv wrote becomes its destination, or goes. `answer` is that of mv itself.
int PutInPlace(const ToolPlan& plan, int answer) {
  const std::string& destination = plan.paths.destination.path;
  if (answer == 0 && rename(plan.staged.c_str(), destination.c_str()) == 0) return 0;
  const int error = errno;
  unlink(plan.staged.c_str());
  return answer == 0 ? NotRun(plan.order.program, error, destination, plan.paths.source.path)
                     : answer;
}

}  // namespace

int AnswerOf(const ToolPlan& plan, const ToolOutcome& outcome) {
  if (!outcome.started) return NotRun(plan, outcome);
  const int answer = Ended(plan, outcome);
  return plan.staged.empty() ? answer : PutInPlace(plan, answer);
}

int AnswerOfRefused(const std::string& program) { return NotRun(program, errno, "", ""); }

}  // namespace vexaplatform
