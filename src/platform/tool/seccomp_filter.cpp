#include "platform/tool/seccomp_filter.h"

#include <linux/seccomp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>

#include "platform/tool/allowed_calls.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

std::vector<sock_filter> Export(scmp_filter_ctx context) {
  const UniqueFd file(memfd_create("filter", MFD_CLOEXEC));
  if (!file || seccomp_export_bpf(context, file.get()) != 0) return {};
  const off_t size = lseek(file.get(), 0, SEEK_END);
  std::vector<sock_filter> filter(static_cast<size_t>(size) / sizeof(sock_filter));
  return pread(file.get(), filter.data(), static_cast<size_t>(size), 0) == size
             ? filter
             : std::vector<sock_filter>();
}

std::vector<sock_filter> MakeFilter(Tool tool) {
  const std::unique_ptr<void, void (*)(scmp_filter_ctx)> context(
      seccomp_init(SCMP_ACT_ERRNO(EPERM)), &seccomp_release);
  if (context == nullptr || AllowCalls(context.get(), tool) != 0) return {};
  seccomp_attr_set(context.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);  // a search tree
  return Export(context.get());
}

}  // namespace

bool HasSeccomp() {
  const uint32_t action = SECCOMP_RET_ERRNO;
  return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

const std::vector<sock_filter>& ToolFilter(Tool tool) {
  static const std::vector<sock_filter> convert = MakeFilter(Tool::kConvert);
  static const std::vector<sock_filter> mv = MakeFilter(Tool::kMv);
  static const std::vector<sock_filter> others = MakeFilter(Tool::kOther);
  if (tool == Tool::kConvert) return convert;
  return tool == Tool::kMv ? mv : others;
}

int EnterFilter(const std::vector<sock_filter>& filter) {
  sock_fprog program{};
  program.len = static_cast<unsigned short>(filter.size());
  program.filter = const_cast<sock_filter*>(filter.data());  // which it only reads
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program));
}

}  // namespace vexaplatform
