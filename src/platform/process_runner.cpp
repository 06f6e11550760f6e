#include <pthread.h>
#include <stdio.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "no_throw.h"
#include "supervisor.h"
#include "tool_plan.h"
#include "tool_record.h"
#include "tool_result.h"
#include "tool_streams.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

constexpr int kSignalBase = 256;

int Fail(int error) {
  errno = error;
  return -1;
}

// As it may stand in a line of the log.
std::string InOneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  return text;
}

void Log(const ToolPlan& plan, const std::string& what) {
  const std::string& source = plan.paths.source.path;
  syslog(LOG_ERR, "%s:%d (%s) \"%s %s%s%s\"", "process_runner.cpp", __LINE__, __func__,
         InOneLine(plan.launch.program).c_str(), what.c_str(), source.empty() ? "" : "; source ",
         InOneLine(source).c_str());
}

ToolLimit LimitMet(const ToolLaunch& launch) {
  if (launch.out_of_time) return ToolLimit::kWallTime;
  if (launch.wait_status == 0) return ToolLimit::kNone;
  if (launch.cpu_seconds >= launch.limits.cpu_time) return ToolLimit::kCpuTime;
  if (WIFSIGNALED(launch.wait_status)) {
    if (WTERMSIG(launch.wait_status) == SIGXFSZ) return ToolLimit::kFileSize;
    if (WTERMSIG(launch.wait_status) == SIGXCPU) return ToolLimit::kCpuTime;
  }
  return launch.told;
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
    case ToolLimit::kOpenFiles:
      return "open files, " + std::to_string(limits.open_files);
    case ToolLimit::kNone:
      break;
  }
  return "";
}

// A tool that runs under its supervisor while this process's thread goes on.
class RunningTool {
 public:
  explicit RunningTool(std::unique_ptr<ToolPlan> plan) : plan_(std::move(plan)) {}

  // 0, or -1 with errno set when the supervisor cannot be started. Closes the descriptor
  // `started_pipe`, if there is one, when the tool runs or cannot.
  int Start(UniqueFd started_pipe) {
    plan_->launch.started_pipe = started_pipe.get();
    plan_->launch.has_error_output = HasErrorOutput();
    // The thread cannot handle a signal, so it takes none; the caller's handlers run in the others.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    int error = 0;
    try {
      thread_ = std::thread([launch = &plan_->launch, pipe = std::move(started_pipe)] {
        try {
          RunSupervised(launch);
        } catch (const std::bad_alloc&) {
          launch->error = ENOMEM;
        }
      });
    } catch (const std::system_error& failure) {
      error = failure.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0 ? 0 : Fail(error);
  }

  // Waits until nothing of it is left. A process that has only a copy of this, by fork, waits for
  // nothing: false.
  bool Wait() {
    if (getpid() != process_) {
      thread_.detach();
      return false;
    }
    thread_.join();
    return true;
  }

  ToolPlan& plan() { return *plan_; }

 private:
  std::unique_ptr<ToolPlan> plan_;
  std::thread thread_;
  pid_t process_ = getpid();
};

int NotStarted(const ToolPlan& plan) {
  const int error = plan.launch.error;
  errno = error;
  RecordStart(plan.launch.program.c_str(), false);
  Log(plan, "could not be run: " + std::generic_category().message(error));
  return Fail(error);
}

int MeetsLimit(const ToolPlan& plan, ToolLimit limit) {
  Log(plan, "met its limit: " + LimitText(limit, plan.launch.limits));
  RecordEnd(ToolEnding::kLimited, static_cast<int>(limit));
  return VLIBC_ENDED_BY_LIMIT;
}

int IsIncomplete(const ToolPlan& plan) {
  Log(plan, "said that it succeeded, but its picture is empty or cut short");
  RecordEnd(ToolEnding::kIncomplete, 0);
  return VLIBC_INCOMPLETE_RESULT;
}

bool IsResultWhole(const ToolPlan& plan) {
  const bool writes_picture = plan.paths.understood && !plan.paths.destination.path.empty();
  return !writes_picture || plan.tool == Tool::kMv || IsWholePicture(plan.paths.destination.path);
}

// The answer for a tool that has ended, and what is recorded and logged of it.
int Answer(const ToolPlan& plan) {
  const ToolLaunch& launch = plan.launch;
  if (!launch.started) return NotStarted(plan);
  RecordStart(launch.program.c_str(), true);
  const bool succeeded = launch.supervised && !launch.out_of_time && launch.wait_status == 0;
  if (!plan.staged.empty()) {
    const bool moved =
        succeeded && rename(plan.staged.c_str(), plan.paths.destination.path.c_str()) == 0;
    if (!moved) unlink(plan.staged.c_str());
    if (succeeded && !moved) return Fail(errno);
  }
  if (!launch.supervised) {
    RecordEnd(ToolEnding::kSignalled, SIGKILL);
    return kSignalBase + SIGKILL;
  }
  const ToolLimit limit = LimitMet(launch);
  if (limit != ToolLimit::kNone) return MeetsLimit(plan, limit);
  if (WIFSIGNALED(launch.wait_status)) {
    RecordEnd(ToolEnding::kSignalled, WTERMSIG(launch.wait_status));
    return kSignalBase + WTERMSIG(launch.wait_status);
  }
  const int status = WEXITSTATUS(launch.wait_status);
  if (status == 0 && !IsResultWhole(plan)) return IsIncomplete(plan);
  RecordEnd(status == 0 ? ToolEnding::kSucceeded : ToolEnding::kExited, status);
  return status;
}

int Refuse(const char* path) {
  const int error = errno;
  RecordStart(path, false);
  syslog(LOG_ERR, "%s:%d (%s) \"%s could not be run: %s\"", "process_runner.cpp", __LINE__,
         __func__, InOneLine(path).c_str(), std::generic_category().message(error).c_str());
  return Fail(error);
}

int Run(const char* path, const char* const argv[]) {
  if (path == nullptr || argv == nullptr) return Fail(EINVAL);
  auto plan = PlanTool(path, argv);
  if (plan == nullptr) return Refuse(path);
  RunningTool tool(std::move(plan));
  if (tool.Start(UniqueFd()) != 0) return Refuse(path);
  tool.Wait();
  return Answer(tool.plan());
}

// Which tool is behind which stream.
class StreamTable {
 public:
  void Add(FILE* stream, std::unique_ptr<RunningTool> tool) {
    const std::lock_guard<std::mutex> lock(mutex_);
    tools_[stream] = std::move(tool);
  }

  // Forgets the stream; null when it is not one of ours.
  std::unique_ptr<RunningTool> Take(FILE* stream) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = tools_.find(stream);
    if (found == tools_.end()) return nullptr;
    std::unique_ptr<RunningTool> tool = std::move(found->second);
    tools_.erase(found);
    return tool;
  }

 private:
  std::mutex mutex_;
  std::map<FILE*, std::unique_ptr<RunningTool>> tools_;
};

StreamTable& Streams() {
  // Never destroyed: a host may still close a stream while its own static objects go.
  static auto* const table = new StreamTable;
  return *table;
}

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

FILE* OpenStream(const char* path, const char* mode, const char* const argv[]) {
  const bool reads = mode != nullptr && strcmp(mode, "r") == 0;
  const bool writes = mode != nullptr && strcmp(mode, "w") == 0;
  if (path == nullptr || argv == nullptr || (!reads && !writes)) {
    errno = EINVAL;
    return nullptr;
  }
  auto plan = PlanTool(path, argv);
  if (plan == nullptr) {
    Refuse(path);
    return nullptr;
  }
  Channel data;
  Channel started;
  if ((reads ? MakeOutputChannel(&data) : MakeInputChannel(&data)) != 0) return nullptr;
  if (MakeSignChannel(&started) != 0) return nullptr;
  Stream stream(fdopen(data.hosts_end.get(), mode), &fclose);
  if (stream == nullptr) return nullptr;
  data.hosts_end.Release();

  (reads ? plan->launch.output : plan->launch.input) = data.tools_end.get();
  plan->launch.output_is_socket = reads;
  auto tool = std::make_unique<RunningTool>(std::move(plan));
  RunningTool* const running = tool.get();
  Streams().Add(stream.get(), std::move(tool));  // before it runs: this needs memory and may fail
  if (running->Start(std::move(started.tools_end)) != 0) {
    Streams().Take(stream.get());
    Refuse(path);
    return nullptr;
  }
  char sign = 0;
  while (read(started.hosts_end.get(), &sign, 1) < 0 && errno == EINTR) {
  }
  if (running->plan().launch.started) {
    RecordStart(path, true);
    return stream.release();
  }
  tool = Streams().Take(stream.get());
  tool->Wait();
  NotStarted(tool->plan());
  stream.reset();
  errno = tool->plan().launch.error;
  return nullptr;
}

}  // namespace
}  // namespace vexaplatform

int VLIBCExecv(const char* path, const char* const argv[], int /*flag*/) {
  return vexaplatform::NoThrow(-1, [&] { return vexaplatform::Run(path, argv); });
}

int VLIBCExecl(const char* path, int flag, ...) {
  va_list arguments;
  va_start(arguments, flag);
  int result = -1;
  try {  // no lambda as elsewhere: the analyzer loses sight of the list in one
    std::vector<const char*> argv = {path};
    while (argv.back() != nullptr) argv.push_back(va_arg(arguments, const char*));
    result = vexaplatform::Run(path, argv.data());
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
  }
  va_end(arguments);
  return result;
}

FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  return vexaplatform::NoThrow<FILE*>(nullptr,
                                      [&] { return vexaplatform::OpenStream(path, mode, argv); });
}

int VLIBCPclose(FILE* stream) {
  if (stream == nullptr) return vexaplatform::Fail(EINVAL);
  const auto tool = vexaplatform::Streams().Take(stream);
  fclose(stream);
  if (tool == nullptr || !tool->Wait()) return vexaplatform::Fail(ECHILD);
  return vexaplatform::NoThrow(-1, [&] { return vexaplatform::Answer(tool->plan()); });
}
