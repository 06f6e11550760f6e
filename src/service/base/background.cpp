#include "service/base/background.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace vexathumb::service {

void LowerPriority() {
  constexpr int kLowest = 19;
  setpriority(PRIO_PROCESS, 0, kLowest);
  // ioprio_set(2) has no wrapper and no header with these.
  constexpr int kWhichProcess = 1;
  constexpr int kIdleClass = 3 << 13;
  syscall(SYS_ioprio_set, kWhichProcess, 0, kIdleClass);
}

bool IsLoadAbove(double load) {
  double now = 0;
  return getloadavg(&now, 1) == 1 && now > load;
}

}  // namespace vexathumb::service
