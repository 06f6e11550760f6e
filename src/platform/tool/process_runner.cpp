#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "platform/base/failed_call.h"
#include "platform/base/no_throw.h"
#include "platform/tool/running_tool.h"
#include "platform/tool/tool_answer.h"
#include "platform/tool/tool_plan.h"
#include "platform/tool/tool_record.h"
#include "platform/tool/tool_streams.h"
#include "vexaplatform/tool_on_files.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

int Run(const char* path, const char* const argv[]) {
  if (path == nullptr || argv == nullptr) return FailWith(EINVAL);
  auto plan = PlanTool(path, argv);
  if (plan == nullptr) return AnswerOfRefused(path);
  RunningTool tool(std::move(plan));
  if (tool.Start(UniqueFd()) != 0) return AnswerOfRefused(path);
  tool.Wait();
  return AnswerOf(tool.plan(), tool.outcome());
}

int RunOnFiles(const char* path, const char* const argv[], int input, int output) {
  if (path == nullptr || argv == nullptr) return FailWith(EINVAL);
  const UniqueFd tools_input(fcntl(input, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const UniqueFd tools_output(fcntl(output, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!tools_input || !tools_output) return AnswerOfRefused(path);
  ToolStreams streams;
  streams.input = tools_input.get();
  streams.output = tools_output.get();
  RunningTool tool(PlanToolOnFiles(path, argv, output), streams);
  if (tool.Start(UniqueFd()) != 0) return AnswerOfRefused(path);
  tool.Wait();
  return AnswerOf(tool.plan(), tool.outcome());
}

// The vector of a list that ends with a null pointer, which it has too.
std::vector<const char*> CollectVector(const char* path, va_list arguments) {
  std::vector<const char*> vector = {path};
  while (vector.back() != nullptr) vector.push_back(va_arg(arguments, const char*));
  return vector;
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

// Whether the tool runs, as its supervisor tells.
bool ReadSign(int descriptor) {
  char sign = 0;
  while (read(descriptor, &sign, 1) < 0 && errno == EINTR) {
  }
  return sign != 0;
}

// Null with errno when the tool cannot be started.
FILE* StartWithStream(std::unique_ptr<ToolPlan> plan, const char* mode) {
  const bool reads = mode[0] == 'r';
  const std::string program = plan->order.program;
  Channel data;
  Channel started;
  if ((reads ? MakeOutputChannel(&data) : MakeInputChannel(&data)) != 0 ||
      MakeSignChannel(&started) != 0) {
    AnswerOfRefused(program);
    return nullptr;
  }
  Stream stream(fdopen(data.hosts_end.get(), mode), &fclose);
  if (stream == nullptr) return nullptr;
  data.hosts_end.Release();

  ToolStreams streams;
  (reads ? streams.output : streams.input) = data.tools_end.get();
  streams.output_is_socket = reads;
  auto tool = std::make_unique<RunningTool>(std::move(plan), streams);
  RunningTool* const running = tool.get();
  Streams().Add(stream.get(), std::move(tool));  // before it runs: this needs memory and may fail
  if (running->Start(std::move(started.tools_end)) != 0) {
    Streams().Take(stream.get());
    AnswerOfRefused(program);
    return nullptr;
  }
  if (ReadSign(started.hosts_end.get())) {
    RecordStart(program.c_str(), true);
    return stream.release();
  }
  tool = Streams().Take(stream.get());
  tool->Wait();
  stream.reset();
  if (AnswerOf(tool->plan(), tool->outcome()) >= 0)
    errno = ECHILD;  // its supervisor was killed at once
  return nullptr;
}

FILE* OpenStream(const char* path, const char* mode, const char* const argv[]) {
  const bool known = mode != nullptr && (strcmp(mode, "r") == 0 || strcmp(mode, "w") == 0);
  if (path == nullptr || argv == nullptr || !known) {
    errno = EINVAL;
    return nullptr;
  }
  auto plan = PlanTool(path, argv);
  if (plan != nullptr) return StartWithStream(std::move(plan), mode);
  AnswerOfRefused(path);
  return nullptr;
}

}  // namespace

int RunToolOnFiles(const char* path, const char* const argv[], int input, int output) {
  return NoThrow(-1, [&] { return RunOnFiles(path, argv, input, output); });
}

}  // namespace vexaplatform

int VLIBCExecv(const char* path, const char* const argv[], int /*flag*/) {
  return vexaplatform::NoThrow(-1, [&] { return vexaplatform::Run(path, argv); });
}

int VLIBCExecl(const char* path, int flag, ...) {
  va_list arguments;
  va_start(arguments, flag);
  const int result = vexaplatform::NoThrow(-1, [path, &arguments] {
    return vexaplatform::Run(path, vexaplatform::CollectVector(path, arguments).data());
  });
  va_end(arguments);
  return result;
}

FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  return vexaplatform::NoThrow<FILE*>(nullptr,
                                      [&] { return vexaplatform::OpenStream(path, mode, argv); });
}

int VLIBCPclose(FILE* stream) {
  if (stream == nullptr) return vexaplatform::FailWith(EINVAL);
  const auto tool = vexaplatform::Streams().Take(stream);
  fclose(stream);
  if (tool == nullptr || !tool->Wait()) return vexaplatform::FailWith(ECHILD);
  return vexaplatform::NoThrow(
      -1, [&] { return vexaplatform::AnswerOf(tool->plan(), tool->outcome()); });
}
