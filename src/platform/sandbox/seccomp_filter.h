#ifndef VEXAPLATFORM_SANDBOX_SECCOMP_FILTER_H_
#define VEXAPLATFORM_SANDBOX_SECCOMP_FILTER_H_

#include <linux/filter.h>
#include <seccomp.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace vexaplatform {

// Whether the kernel filters system calls for whoever asks.
bool HasSeccomp();

// The filter of the rules that `add_rules` adds, 0 when it could, to one that answers every call
// with `action`. Empty where it cannot be made. Throws std::bad_alloc only.
std::vector<sock_filter> MakeSeccompFilter(uint32_t action,
                                           const std::function<int(scmp_filter_ctx)>& add_rules);

// Puts the calling thread, which must have renounced new privileges, and what it executes under the
// filter. 0, or -1 with errno. Allocates no memory.
int EnterFilter(const std::vector<sock_filter>& filter);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_SANDBOX_SECCOMP_FILTER_H_
