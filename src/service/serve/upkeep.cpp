#include "service/serve/upkeep.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "service/base/lock_file.h"
#include "service/store/free_boxes.h"
#include "service/store/sweeping.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

// The folders of shares that have been noted.
class NotedShares {
 public:
  void Add(const std::string& share) {
    const std::lock_guard<std::mutex> lock(mutex_);
    shares_.insert(share);
  }

  std::set<std::string> Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(shares_, {});
  }

 private:
  std::mutex mutex_;
  std::set<std::string> shares_;
};

NotedShares& SharesToLookAt() {
  static NotedShares shares;
  return shares;
}

void EvictFreeBoxesOf(const std::string& share) {
  const vexaplatform::ServiceSettings service = vexaplatform::CurrentSettings()->service;
  LockFile only_one(service.lock_dir, "free-boxes");
  if (!only_one.TryLock()) return;  // what is stored after that is noted again
  const FreeBoxLimits limits = FreeBoxLimitsFrom(service);
  bool is_whole = true;
  const auto eviction = EvictFreeBoxesBelow(
      share, limits, false, [&is_whole](const auto&, const auto&) { is_whole = false; });
  const uint64_t left = eviction.before.bytes - eviction.removed.bytes;
  // What cannot be removed is not to be looked at for every box that is stored.
  FreeBoxTally(service.lock_dir, share)
      .Set(left <= limits.bytes_of_store ? left : limits.bytes_of_store / 4 * 3);
  if (!is_whole) syslog(LOG_WARNING, "some free boxes of a share cannot be counted");
}

}  // namespace

void SweepLeftoversHourly() noexcept try {
  constexpr time_t kHour = 3600;
  constexpr time_t kMinute = 60;
  static std::atomic<time_t> last_look = 0;
  const time_t now = time(nullptr);
  if (now - last_look < kMinute && now >= last_look) return;
  last_look = now;
  const std::string directory = vexaplatform::CurrentSettings()->service.lock_dir;
  const std::string folder = LockFolder(directory);
  const std::string name = "swept." + std::to_string(geteuid());  // only own files are swept
  const std::string file = folder + "/" + name;
  struct stat st = {};
  const bool exists = lstat(file.c_str(), &st) == 0;
  if (exists && st.st_mtime + kHour > now) return;
  LockFile lock(directory, name);
  if (!lock.TryLock()) return;  // another process is about to
  utimensat(AT_FDCWD, file.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
  SweepTemporaryDirectories();
} catch (...) {
  return;  // the next one tries again
}

void NoteFreeBoxes(const std::string& share, uint64_t bytes) {
  const auto settings = vexaplatform::CurrentSettings();
  const uint64_t most = FreeBoxLimitsFrom(settings->service).bytes_of_store;
  if (bytes > most) SharesToLookAt().Add(share);
}

void EvictNotedFreeBoxes() noexcept try {
  for (const std::string& share : SharesToLookAt().Take()) EvictFreeBoxesOf(share);
} catch (...) {
  return;  // the next that is stored is noted again
}

}  // namespace vexathumb::service
