#include "programs/vexathumb-web/leftovers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "service/base/lock_file.h"
#include "service/store/sweeping.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {

void SweepLeftoversHourly() noexcept try {
  constexpr time_t kHour = 3600;
  constexpr time_t kMinute = 60;
  static time_t last_look = 0;
  const time_t now = time(nullptr);
  if (now - last_look < kMinute && now >= last_look) return;
  last_look = now;
  const std::string directory = vexaplatform::CurrentSettings()->service.lock_dir;
  const std::string folder = service::LockFolder(directory);
  const std::string name = "swept." + std::to_string(geteuid());  // only own files are swept
  const std::string file = folder + "/" + name;
  struct stat st = {};
  const bool exists = lstat(file.c_str(), &st) == 0;
  if (exists && st.st_mtime + kHour > now) return;
  service::LockFile lock(directory, name);
  if (!lock.TryLock()) return;  // another process is about to
  utimensat(AT_FDCWD, file.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
  service::SweepTemporaryDirectories();
} catch (...) {
  return;  // the next one tries again
}

}  // namespace vexathumb::web
