#include "platform/sandbox/seccomp_filter.h"

#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

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

}  // namespace

bool HasSeccomp() {
  const uint32_t action = SECCOMP_RET_ERRNO;
  return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

std::vector<sock_filter> MakeSeccompFilter(uint32_t action,
                                           const std::function<int(scmp_filter_ctx)>& add_rules) {
  const std::unique_ptr<void, void (*)(scmp_filter_ctx)> context(seccomp_init(action),
                                                                 &seccomp_release);
  if (context == nullptr || add_rules(context.get()) != 0) return {};
  seccomp_attr_set(context.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);  // a search tree
  return Export(context.get());
}

int EnterFilter(const std::vector<sock_filter>& filter) {
  sock_fprog program{};
  program.len = static_cast<unsigned short>(filter.size());
  program.filter = const_cast<sock_filter*>(filter.data());  // which it only reads
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program));
}

}  // namespace vexaplatform
