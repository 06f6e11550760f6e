#include "kit/doubles/platform_double.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <utility>

#include "http/http_file_responder.h"
#include "vexa/ea.h"
#include "vexa/share.h"
#include "vlibc/process.h"

namespace vexathumb::kit {
namespace {

std::atomic<PlatformDouble*> current{nullptr};

std::string StoreBeside(const std::string& source) {
  const size_t slash = source.rfind('/');
  return source.substr(0, slash) + "/.vexaea/" + source.substr(slash + 1);
}

std::vector<char*> Pointers(std::vector<std::string>& argv) {
  std::vector<char*> pointers;
  pointers.reserve(argv.size() + 1);
  for (std::string& argument : argv) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The child's process id, or -1. Its standard input is /dev/null, its output goes to `output`.
pid_t Spawn(std::vector<std::string> argv, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t child = -1;
  const int error =
      posix_spawn(&child, argv[0].c_str(), &actions, nullptr, Pointers(argv).data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

int WaitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

std::pair<FILE*, pid_t> OpenProgram(const std::vector<std::string>& argv) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) return {nullptr, -1};
  const pid_t child = Spawn(argv, ends[1]);
  close(ends[1]);
  if (child == -1) {
    close(ends[0]);
    return {nullptr, -1};
  }
  return {fdopen(ends[0], "r"), child};
}

std::vector<std::string> Strings(const char* const argv[]) {
  std::vector<std::string> strings;
  for (const char* const* argument = argv; *argument != nullptr; ++argument) {
    strings.emplace_back(*argument);
  }
  return strings;
}

int Put(const std::string& text, char* buf, int size) {
  if (text.empty() || text.size() >= static_cast<size_t>(size)) {
    errno = text.empty() ? EINVAL : ENAMETOOLONG;
    return -1;
  }
  memcpy(buf, text.c_str(), text.size() + 1);
  return 0;
}

std::string StoreDirectory(const char* source) {
  const PlatformDouble* platform = PlatformDouble::Current();
  return platform == nullptr ? "" : platform->store_directory(source);
}

std::string ReadAll(FILE* stream) {
  std::string content;
  char buffer[4096];
  size_t count = 0;
  while ((count = fread(buffer, 1, sizeof(buffer), stream)) > 0) content.append(buffer, count);
  return content;
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

}  // namespace

// What the operations need of the object beyond its public members.
struct PlatformDoubleAccess {
  static int Run(const std::vector<std::string>& argv) {
    PlatformDouble* platform = PlatformDouble::Current();
    if (platform == nullptr) return 127;
    PlatformDouble::Tool tool;
    {
      const std::lock_guard<std::mutex> lock(platform->mutex_);
      const auto found = platform->tools_.find(argv[0]);
      if (found != platform->tools_.end()) tool = found->second;
    }
    if (tool) return tool(argv);
    return platform->run_really_ ? RunProgram(argv) : 127;
  }

  static FILE* Open(const std::vector<std::string>& argv) {
    PlatformDouble* platform = PlatformDouble::Current();
    if (platform == nullptr) return nullptr;
    PlatformDouble::StreamTool tool;
    {
      const std::lock_guard<std::mutex> lock(platform->mutex_);
      const auto found = platform->stream_tools_.find(argv[0]);
      if (found != platform->stream_tools_.end()) tool = found->second;
    }
    std::pair<FILE*, pid_t> opened = {nullptr, -1};
    if (tool) {
      opened.first = tool(argv);
    } else if (platform->run_really_) {
      opened = OpenProgram(argv);
    }
    if (opened.first != nullptr) {
      const std::lock_guard<std::mutex> lock(platform->mutex_);
      platform->streams_.insert(opened);
    }
    return opened.first;
  }

  static int Close(FILE* stream) {
    PlatformDouble* platform = PlatformDouble::Current();
    pid_t child = -1;
    if (platform != nullptr) {
      const std::lock_guard<std::mutex> lock(platform->mutex_);
      const auto found = platform->streams_.find(stream);
      if (found == platform->streams_.end()) return -1;
      child = found->second;
      platform->streams_.erase(found);
    }
    fclose(stream);
    return child == -1 ? 0 : WaitFor(child);
  }

  static void CountShares(int change) {
    PlatformDouble* platform = PlatformDouble::Current();
    if (platform == nullptr) return;
    const std::lock_guard<std::mutex> lock(platform->mutex_);
    platform->open_shares_ += change;
  }
};

PlatformDouble::PlatformDouble() : store_directory(StoreBeside) {
  if (current.exchange(this) != nullptr) throw std::logic_error("two platforms at once");
  CallJournal::Get().Clear();
}

PlatformDouble::~PlatformDouble() { current = nullptr; }

PlatformDouble* PlatformDouble::Current() { return current; }

void PlatformDouble::SetTool(const std::string& path, Tool tool) {
  const std::lock_guard<std::mutex> lock(mutex_);
  tools_[path] = std::move(tool);
}

void PlatformDouble::SetStreamTool(const std::string& path, StreamTool tool) {
  const std::lock_guard<std::mutex> lock(mutex_);
  stream_tools_[path] = std::move(tool);
}

int PlatformDouble::OpenShares() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return open_shares_;
}

int PlatformDouble::OpenStreams() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(streams_.size());
}

std::string OutputOf(const std::vector<std::string>& argv) {
  for (size_t i = 0; i + 1 < argv.size(); ++i) {
    if (argv[i] == "-outfile") return argv[i + 1];
  }
  return argv.back();
}

PlatformDouble::Tool FailsAfterWriting(const std::string& content, int status) {
  return [content, status](const std::vector<std::string>& argv) {
    WriteFile(OutputOf(argv), content);
    return status;
  };
}

PlatformDouble::Tool Writes(const std::string& content) { return FailsAfterWriting(content, 0); }

PlatformDouble::Tool Fails(int status) {
  return [status](const std::vector<std::string>&) { return status; };
}

PlatformDouble::Tool WritesNothing() { return Fails(0); }

PlatformDouble::Tool InTurn(std::vector<PlatformDouble::Tool> tools) {
  const auto next = std::make_shared<std::atomic<size_t>>(0);
  return [tools = std::move(tools), next](const std::vector<std::string>& argv) {
    const size_t turn = (*next)++;
    return tools[turn < tools.size() ? turn : tools.size() - 1](argv);
  };
}

int RunProgram(const std::vector<std::string>& argv) {
  const pid_t child = Spawn(argv, STDERR_FILENO);
  return child == -1 ? -1 : WaitFor(child);
}

PlatformDouble::StreamTool Streams(const std::string& content) {
  return [content](const std::vector<std::string>&) {
    FILE* stream = tmpfile();
    if (stream == nullptr) return stream;
    fwrite(content.data(), 1, content.size(), stream);
    rewind(stream);
    return stream;
  };
}

PlatformDouble::StreamTool CannotStart() {
  return [](const std::vector<std::string>&) -> FILE* { return nullptr; };
}

PlatformDouble::StreamTool FailsToRead() {
  return [](const std::vector<std::string>&) {
    return fdopen(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC), "r");
  };
}

}  // namespace vexathumb::kit

using vexathumb::kit::CallJournal;
using vexathumb::kit::PlatformDouble;
using vexathumb::kit::PlatformDoubleAccess;

FSTYPE VEXAGetFSType(const char* path, int flag) {
  CallJournal::Get().Add({"VEXAGetFSType", path, {}, flag});
  const PlatformDouble* platform = PlatformDouble::Current();
  if (platform == nullptr) return FSTYPE_ERR;
  if (platform->volume_type == FSTYPE_ERR) errno = platform->volume_errno;
  return platform->volume_type;
}

BOOL VEXAFSIsRemoteFS(FSTYPE type) {
  CallJournal::Get().Add({"VEXAFSIsRemoteFS", "", {}, type});
  return type == FSTYPE_CIFS || type == FSTYPE_NFS || type == FSTYPE_GLUSTERFS ? TRUE : FALSE;
}

BOOL VEXAFSIsImageFS(FSTYPE type) {
  CallJournal::Get().Add({"VEXAFSIsImageFS", "", {}, type});
  return type == FSTYPE_ISO || type == FSTYPE_UDF ? TRUE : FALSE;
}

int VEXAEAPath(EATYPE type, const char* path, const char* name, char* buf, int size,
               EA_AD_SHARE ad) {
  CallJournal::Get().Add(
      {"VEXAEAPath", path, {name, std::to_string(size), std::to_string(ad)}, type});
  const std::string directory = vexathumb::kit::StoreDirectory(path);
  return vexathumb::kit::Put(directory.empty() ? "" : directory + "/" + name, buf, size);
}

int VEXAEADirPath(EATYPE type, const char* path, char* buf, int size) {
  CallJournal::Get().Add({"VEXAEADirPath", path, {std::to_string(size)}, type});
  const PlatformDouble* platform = PlatformDouble::Current();
  const int result = vexathumb::kit::Put(vexathumb::kit::StoreDirectory(path), buf, size);
  return platform == nullptr ? result : platform->directory_path_result.value_or(result);
}

int VEXAEAMKDir(int flag, const char* dir) {
  CallJournal::Get().Add({"VEXAEAMKDir", dir, {}, flag});
  const PlatformDouble* platform = PlatformDouble::Current();
  if (platform == nullptr) return -1;
  if (platform->make_directory_result) return *platform->make_directory_result;
  std::error_code error;
  std::filesystem::create_directories(dir, error);
  return error ? -1 : 0;
}

int VEXAFileCopy(const char* src, const char* dst, PVEXACOPYARGS args) {
  CallJournal::Get().Add({"VEXAFileCopy", src, {dst}, 0});
  PlatformDouble* platform = PlatformDouble::Current();
  if (platform == nullptr) return -1;
  if (args != nullptr) platform->copy_args = *args;
  return platform->copy_result;
}

int VEXAShareGet(const char* name, VEXASHARE** share) {
  CallJournal::Get().Add({"VEXAShareGet", name, {}, 0});
  *share = nullptr;
  const PlatformDouble* platform = PlatformDouble::Current();
  if (platform == nullptr) return -1;
  if (platform->record_of_missing_share) {
    *share = new VEXASHARE{SHARE_STATUS_INDEXED};
    PlatformDoubleAccess::CountShares(1);
    return -1;
  }
  const auto found = platform->shares.find(name);
  if (found == platform->shares.end()) return -1;
  *share = new VEXASHARE{found->second};
  PlatformDoubleAccess::CountShares(1);
  return 0;
}

void VEXAShareFree(VEXASHARE* share) {
  CallJournal::Get().Add({"VEXAShareFree", "", {}, 0});
  if (share == nullptr) return;
  PlatformDoubleAccess::CountShares(-1);
  delete share;
}

int VLIBCExecv(const char* path, const char* const argv[], int flag) {
  const std::vector<std::string> strings = vexathumb::kit::Strings(argv);
  CallJournal::Get().Add({"VLIBCExecv", path, strings, flag});
  return PlatformDoubleAccess::Run(strings);
}

int VLIBCExecl(const char* path, int flag, ...) {
  std::vector<std::string> strings = {path};
  va_list list;
  va_start(list, flag);
  while (const char* argument = va_arg(list, const char*)) strings.emplace_back(argument);
  va_end(list);
  CallJournal::Get().Add({"VLIBCExecl", path, strings, flag});
  return PlatformDoubleAccess::Run(strings);
}

FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  const std::vector<std::string> strings = vexathumb::kit::Strings(argv);
  CallJournal::Get().Add({"VLIBCPopenv", path, strings, mode[0]});
  return PlatformDoubleAccess::Open(strings);
}

int VLIBCPclose(FILE* stream) {
  CallJournal::Get().Add({"VLIBCPclose", "", {}, 0});
  return PlatformDoubleAccess::Close(stream);
}

int HttpFileResponder::Output(const char* path, const char* mime) {
  CallJournal::Get().Add({"HttpOutputFile", path, {mime}, 0});
  const PlatformDouble* platform = PlatformDouble::Current();
  return platform == nullptr ? -1 : platform->http_result;
}

int HttpFileResponder::Output(FILE* stream, const char* name, const char* mime) {
  const std::string content = stream == nullptr ? "" : vexathumb::kit::ReadAll(stream);
  CallJournal::Get().Add({"HttpOutputStream", name, {mime, content}, 0});
  if (stream == nullptr) return -1;
  VLIBCPclose(stream);
  const PlatformDouble* platform = PlatformDouble::Current();
  return platform == nullptr ? -1 : platform->http_result;
}
