#include <stdio.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "child_process.h"
#include "no_throw.h"
#include "tool_record.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

constexpr int kSignalBase = 256;

int Fail(int error) {
  errno = error;
  return -1;
}

// Waits for a child and answers how it ended.
int Wait(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  RecordEnd(status);
  return WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

bool Start(const char* path, const char* const argv[], const ChildStreams& streams, pid_t* child) {
  const bool started = Spawn(path, argv, streams, child) == 0;
  RecordStart(path, started);
  return started;
}

int Run(const char* path, const char* const argv[]) {
  if (path == nullptr || argv == nullptr) return Fail(EINVAL);
  pid_t child = 0;
  return Start(path, argv, ChildStreams(), &child) ? Wait(child) : -1;
}

// Which child is behind which stream.
class StreamTable {
 public:
  void Add(FILE* stream, pid_t child) {
    const std::lock_guard<std::mutex> lock(mutex_);
    children_[stream] = child;
  }

  // Forgets the stream; -1 when it is not one of ours.
  pid_t Take(FILE* stream) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = children_.find(stream);
    if (found == children_.end()) return -1;
    const pid_t child = found->second;
    children_.erase(found);
    return child;
  }

 private:
  std::mutex mutex_;
  std::map<FILE*, pid_t> children_;
};

StreamTable& Streams() {
  // Never destroyed: a host may still close a stream while its own static objects go.
  static auto* const table = new StreamTable;
  return *table;
}

FILE* OpenStream(const char* path, const char* mode, const char* const argv[]) {
  const bool reads = mode != nullptr && strcmp(mode, "r") == 0;
  const bool writes = mode != nullptr && strcmp(mode, "w") == 0;
  if (path == nullptr || argv == nullptr || (!reads && !writes)) {
    errno = EINVAL;
    return nullptr;
  }
  Pipe pipe;
  if (MakePipe(&pipe) != 0) return nullptr;
  UniqueFd& hosts_end = reads ? pipe.read_end : pipe.write_end;
  UniqueFd& childs_end = reads ? pipe.write_end : pipe.read_end;
  FILE* stream = fdopen(hosts_end.get(), mode);
  if (stream == nullptr) return nullptr;
  hosts_end.Release();

  ChildStreams streams;
  (reads ? streams.output : streams.input) = childs_end.get();
  Streams().Add(stream, 0);  // before the child exists: this needs memory and may fail
  pid_t child = 0;
  if (!Start(path, argv, streams, &child)) {
    const int error = errno;
    Streams().Take(stream);
    fclose(stream);
    errno = error;
    return nullptr;
  }
  Streams().Add(stream, child);
  return stream;
}

}  // namespace
}  // namespace vexaplatform

int VLIBCExecv(const char* path, const char* const argv[], int /*flag*/) {
  return vexaplatform::Run(path, argv);
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
  const pid_t child = vexaplatform::Streams().Take(stream);
  fclose(stream);
  return child > 0 ? vexaplatform::Wait(child) : vexaplatform::Fail(ECHILD);
}
