#ifndef VEXAPLATFORM_TESTS_LISTENED_THREAD_H_
#define VEXAPLATFORM_TESTS_LISTENED_THREAD_H_

#include <linux/filter.h>
#include <linux/seccomp.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace vexaplatform {

// Runs `body` on a thread of its own, to whose system calls, and to those of all that it starts,
// `filter` holds. For each that the filter notifies of `answer` fills in what the caller sees, or
// lets it go on with SECCOMP_USER_NOTIF_FLAG_CONTINUE. False when the kernel cannot.
bool RunListened(const std::vector<sock_filter>& filter, const std::function<void()>& body,
                 const std::function<void(const seccomp_notif&, seccomp_notif_resp*)>& answer);

// The kernel's own version of Landlock.
inline constexpr int kOwnLandlock = -1;

// Runs `body` on a thread to which the kernel seems to have this version of Landlock, or none at
// all with 0. False when that cannot be done: the kernel has no newer one, or cannot be asked.
bool RunWithLandlock(int version, const std::function<void()>& body);

// Runs `body`, whose tools are to be started without a filter of their own, under `filter`: the
// names of the calls that it refuses to programs other than this one, which fail as they would.
std::set<std::string> RefusedCalls(const std::vector<sock_filter>& filter,
                                   const std::function<void()>& body);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TESTS_LISTENED_THREAD_H_
