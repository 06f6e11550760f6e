#include "unit/service/machine_double.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include "vexaplatform/tool_on_files.h"
#include "vlibc/process.h"

#define SEEN_BY_LIBRARIES __attribute__((visibility("default")))

namespace vexathumb::service {
namespace {

const std::vector<std::string> kPrograms = {"convert", "djpeg", "jpegtran",
                                            "dcraw",   "cjpeg", "gifsicle"};

// Shared by all processes that are forked off.
struct Counters {
  std::atomic<int> runs[8];
};

Counters* SharedCounters() {
  static auto* const counters = static_cast<Counters*>(
      mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return counters;
}

size_t IndexOf(const std::string& program) {
  size_t index = 0;
  while (index < kPrograms.size() && kPrograms[index] != program) ++index;
  return index;
}

MachineDouble* current = nullptr;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::vector<std::string> TextsOf(const char* const argv[]) {
  std::vector<std::string> texts;
  for (; *argv != nullptr; ++argv) texts.emplace_back(*argv);
  return texts;
}

bool IsOfFolderClock(const std::string& path) {
  constexpr char kEnd[] = "_now";
  const size_t length = sizeof(kEnd) - 1;
  return path.size() > length && path.compare(path.size() - length, length, kEnd) == 0;
}

// What is run in the place of a tool with a fault.
struct Substitute {
  std::string path;
  std::vector<const char*> argv;
};

Substitute SubstituteFor(ToolFault fault, const char* path) {
  switch (fault) {
    case ToolFault::kMissing:
      return {"/nonexistent" + std::string(path), {path, nullptr}};
    case ToolFault::kFails:
      return {"/bin/false", {"/bin/false", nullptr}};
    case ToolFault::kTerminated:
      return {"/bin/sh", {"/bin/sh", "-c", "kill -TERM $$", nullptr}};
    case ToolFault::kKilled:
      return {"/bin/sh", {"/bin/sh", "-c", "kill -KILL $$", nullptr}};
    case ToolFault::kCrashes:
      return {"/bin/sh", {"/bin/sh", "-c", "kill -SEGV $$", nullptr}};
    case ToolFault::kMeetsLimit:
      return {"/bin/sh", {"/bin/sh", "-c", "echo memory limit >&2; exit 1", nullptr}};
    case ToolFault::kFindsNoQuota:
      return {"/bin/sh", {"/bin/sh", "-c", "echo x: Disk quota exceeded >&2; exit 1", nullptr}};
    case ToolFault::kNone:
      break;
  }
  return {path, {}};
}

}  // namespace

MachineDouble::MachineDouble() {
  current = this;
  for (auto& runs : SharedCounters()->runs) runs = 0;
}

MachineDouble::~MachineDouble() { current = nullptr; }

MachineDouble* MachineDouble::Current() { return current; }

int MachineDouble::Runs(const std::string& program) const {
  return SharedCounters()->runs[IndexOf(program)];
}

int MachineDouble::Runs() const {
  int all = 0;
  for (const auto& runs : SharedCounters()->runs) all += runs;
  return all;
}

void MachineDouble::Break(const std::string& program, ToolFault fault) {
  const std::string path = "/usr/bin/" + program;
  if (fault == ToolFault::kMissing) missing_program = path;
  on_run = [path, fault](const std::string& run, const std::vector<std::string>& /*argv*/) {
    return run == path ? fault : ToolFault::kNone;
  };
}

ToolFault MachineDouble::Run(const std::string& path, const std::vector<std::string>& argv) {
  ++SharedCounters()->runs[IndexOf(path.substr(path.rfind('/') + 1))];
  return on_run ? on_run(path, argv) : ToolFault::kNone;
}

}  // namespace vexathumb::service

using vexathumb::service::current;
using vexathumb::service::IsOfFolderClock;
using vexathumb::service::Real;
using vexathumb::service::SubstituteFor;
using vexathumb::service::TextsOf;

namespace vexaplatform {

SEEN_BY_LIBRARIES int RunToolOnFiles(const char* path, const char* const argv[], int input,
                                     int output) {
  static auto* const real =
      Real<decltype(RunToolOnFiles)>("_ZN12vexaplatform14RunToolOnFilesEPKcPKS1_ii");
  if (current == nullptr) return real(path, argv, input, output);
  const auto substitute = SubstituteFor(current->Run(path, TextsOf(argv)), path);
  return real(substitute.path.c_str(), substitute.argv.empty() ? argv : substitute.argv.data(),
              input, output);
}

}  // namespace vexaplatform

extern "C" {

SEEN_BY_LIBRARIES int VLIBCExecv(const char* path, const char* const argv[], int flag) {
  static auto* const real = Real<decltype(VLIBCExecv)>("VLIBCExecv");
  if (current == nullptr) return real(path, argv, flag);
  const auto substitute = SubstituteFor(current->Run(path, TextsOf(argv)), path);
  return real(substitute.path.c_str(), substitute.argv.empty() ? argv : substitute.argv.data(),
              flag);
}

SEEN_BY_LIBRARIES FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  static auto* const real = Real<decltype(VLIBCPopenv)>("VLIBCPopenv");
  if (current == nullptr) return real(path, mode, argv);
  const auto substitute = SubstituteFor(current->Run(path, TextsOf(argv)), path);
  return real(substitute.path.c_str(), mode,
              substitute.argv.empty() ? argv : substitute.argv.data());
}

SEEN_BY_LIBRARIES FSTYPE VEXAGetFSType(const char* path, int flag) {
  static auto* const real = Real<decltype(VEXAGetFSType)>("VEXAGetFSType");
  if (current != nullptr && current->volume_type) return *current->volume_type;
  return real(path, flag);
}

SEEN_BY_LIBRARIES int access(const char* path, int mode) noexcept {
  static auto* const real = Real<int(const char*, int)>("access");
  if (current != nullptr && !current->missing_program.empty() && current->missing_program == path) {
    errno = ENOENT;
    return -1;
  }
  return real(path, mode);
}

SEEN_BY_LIBRARIES int unlink(const char* path) noexcept {
  static auto* const real = Real<int(const char*)>("unlink");
  const bool may_spare = current != nullptr && !current->removable.empty();
  const bool is_meant = may_spare && (current->removable == path || IsOfFolderClock(path));
  return may_spare && !is_meant ? 0 : real(path);
}

SEEN_BY_LIBRARIES int statvfs(const char* path, struct statvfs* volume) noexcept {
  static auto* const real = Real<int(const char*, struct statvfs*)>("statvfs");
  const int result = real(path, volume);
  if (current != nullptr && !current->full_directory.empty() &&
      std::string(path).rfind(current->full_directory, 0) == 0) {
    volume->f_bavail = current->left_there / volume->f_frsize;
  }
  return result;
}

SEEN_BY_LIBRARIES int fstat(int fd, struct stat* status) noexcept {
  static auto* const real = Real<int(int, struct stat*)>("fstat");
  const int result = real(fd, status);
  if (result == 0 && current != nullptr) status->st_ctime += current->folder_clock_ahead;
  return result;
}

SEEN_BY_LIBRARIES time_t time(time_t* result) noexcept {
  struct timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  const time_t seconds = now.tv_sec + (current != nullptr ? current->clock_ahead : 0);
  if (result != nullptr) *result = seconds;
  return seconds;
}

}  // extern "C"
