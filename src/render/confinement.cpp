#include "render/confinement.h"

#include <fcntl.h>
#include <linux/prctl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "posix/unique_fd.h"
#include "render/allowed_calls.h"

namespace vexathumb::render {
namespace {

// A job gets as much even where its limit is less than what the process has from the beginning.
constexpr uint64_t kLeastMemory = uint64_t{8} << 20U;
constexpr rlim_t kMostDescriptors = 64;
constexpr rlim_t kGraceSeconds = 1;  // between the signal of the timer and SIGKILL

const std::vector<sock_filter>& Filter() {
  static const std::vector<sock_filter> filter =
      vexaplatform::MakeSeccompFilter(SCMP_ACT_KILL_PROCESS, &AllowCalls);
  return filter;
}

// A limit that is lower already stays.
bool SetLimit(decltype(RLIMIT_DATA) resource, rlim_t value) {
  rlimit limit = {};
  if (getrlimit(resource, &limit) != 0) return false;
  limit.rlim_max = std::min(limit.rlim_max, value);
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(resource, &limit) == 0;
}

struct Memory {
  uint64_t resident = 0;
  uint64_t data = 0;  // of which the kernel counts also what has not been touched
};

// In bytes; zeros when it cannot be told.
Memory PresentMemory() {
  FILE* const file = fopen("/proc/self/statm", "re");
  if (file == nullptr) return {};
  unsigned long resident = 0;
  unsigned long data = 0;
  const bool is_read = fscanf(file, "%*u %lu %*u %*u %*u %lu", &resident, &data) == 2;
  fclose(file);
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  return is_read ? Memory{resident * page, data * page} : Memory{};
}

const Memory& MemoryAtStart() {
  static const Memory memory = PresentMemory();
  return memory;
}

// What is mapped of a file counts for nothing, however large it is.
bool LimitMemory(uint64_t memory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
  constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
  constexpr bool kIsSanitized = false;
#endif
  if (kIsSanitized) return true;  // which reserve terabytes
  const Memory& present = MemoryAtStart();
  const uint64_t left = memory > present.resident ? memory - present.resident : 0;
  return SetLimit(RLIMIT_DATA, present.data + std::max(left, kLeastMemory));
}

// The timer's signal says what it was; the limit in whole seconds is for one who ignores it.
bool LimitTime(uint64_t milliseconds) {
  const itimerval timer = {{0, 0},
                           {static_cast<time_t>(milliseconds / 1000),
                            static_cast<suseconds_t>(milliseconds % 1000 * 1000)}};
  return setitimer(ITIMER_PROF, &timer, nullptr) == 0 &&
         SetLimit(RLIMIT_CPU, milliseconds / 1000 + 1 + kGraceSeconds);
}

bool EnterLandlock() {
  if (vexaplatform::LandlockVersion() == 0) return true;
  const posix::UniqueFd ruleset(vexaplatform::MakeLandlockRuleset({}, -1));
  return ruleset && vexaplatform::EnterLandlockRuleset(ruleset.get()) == 0;
}

}  // namespace

bool PrepareConfinement() {
  MemoryAtStart();
  return vexaplatform::HasSeccomp() && !Filter().empty();
}

bool KeepOnly(std::vector<int> descriptors) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (null < 0 || dup2(null, stream) < 0) return false;
    descriptors.push_back(stream);
  }
  std::sort(descriptors.begin(), descriptors.end());
  unsigned next = 0;
  for (const int kept : descriptors) {
    const auto number = static_cast<unsigned>(kept);
    if (number > next && close_range(next, number - 1, 0) != 0) return false;
    next = std::max(next, number + 1);
  }
  return close_range(next, ~0U, 0) == 0;
}

bool Confine(const ProcessLimits& limits) {
  return SetLimit(RLIMIT_FSIZE, limits.file_size) && SetLimit(RLIMIT_NOFILE, kMostDescriptors) &&
         SetLimit(RLIMIT_CORE, 0) && LimitMemory(limits.memory) &&
         prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && EnterLandlock() &&
         LimitTime(limits.cpu_milliseconds) && !Filter().empty() &&
         vexaplatform::EnterFilter(Filter()) == 0;
}

}  // namespace vexathumb::render
