#include "platform/tool/machine_error.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

constexpr uint64_t kMiB = uint64_t{1} << 20U;

bool HostHasLess(__rlimit_resource resource, uint64_t limit) {
  rlimit own{};
  return getrlimit(resource, &own) == 0 && own.rlim_max < limit;
}

// Where the kernel promises no more than there is, it refuses what is promised to others already.
bool IsMemoryCounted() {
  const vexathumb::posix::UniqueFd file(
      open("/proc/sys/vm/overcommit_memory", O_RDONLY | O_CLOEXEC));
  char mode = 0;
  return file && read(file.get(), &mode, 1) == 1 && mode == '2';
}

// Apart from that the kernel refuses what is more than all that it has.
bool MachineHasLessMemory(uint64_t limit) {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return false;
  return (uint64_t{info.totalram} + info.totalswap) * info.mem_unit < limit || IsMemoryCounted();
}

}  // namespace

int MachineErrorAt(ToolLimit limit, const ToolLimits& limits, const ToolOutcome& outcome) {
  if (outcome.machine_error != 0) return outcome.machine_error;
  const auto mebibytes = [](int count) { return static_cast<uint64_t>(count) * kMiB; };
  switch (limit) {
    case ToolLimit::kAddressSpace: {
      const uint64_t memory = mebibytes(limits.address_space);
      return HostHasLess(RLIMIT_AS, memory) || MachineHasLessMemory(memory) ? ENOMEM : 0;
    }
    case ToolLimit::kCpuTime:
      return outcome.cpu_seconds < limits.cpu_time &&
                     HostHasLess(RLIMIT_CPU, static_cast<uint64_t>(limits.cpu_time))
                 ? ETIME
                 : 0;
    case ToolLimit::kWallTime:
      return outcome.cpu_seconds * 2 < limits.wall_time ? ETIMEDOUT : 0;
    case ToolLimit::kFileSize:
      return HostHasLess(RLIMIT_FSIZE, mebibytes(limits.file_size)) ? EFBIG : 0;
    case ToolLimit::kOpenFiles:
      return HostHasLess(RLIMIT_NOFILE, static_cast<uint64_t>(limits.open_files)) ? EMFILE : 0;
    case ToolLimit::kWritten:
    case ToolLimit::kTasks:
    case ToolLimit::kJpegMemory:
    case ToolLimit::kPolicy:
    case ToolLimit::kNone:
      break;
  }
  return 0;
}

}  // namespace vexaplatform
