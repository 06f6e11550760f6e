#include "service/build_turn.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

namespace vexathumb::service {
namespace {

constexpr size_t kSourceLockFiles = 256;
constexpr std::chrono::milliseconds kLookAgainAfter{5};

std::string SourceLockName(const std::string& source) {
  const std::string base_name = source.substr(source.rfind('/') + 1);
  return "source." + std::to_string(std::hash<std::string>()(base_name) % kSourceLockFiles);
}

}  // namespace

SourceLock::SourceLock(const std::string& directory, const std::string& source)
    : file_(directory, SourceLockName(source)) {
  file_.Lock();
}

std::optional<BuildTurn> BuildTurn::Take(const std::string& directory, const BuildLimits& limits) {
  const int builders = std::max(limits.builders, 1);
  for (int number = 0; number < builders + limits.waiting; ++number) {
    LockFile ticket(directory, "ticket." + std::to_string(number));
    if (!ticket.TryLock()) continue;
    // Only the first in line looks for a free place, since the system cannot wait for any of
    // several locks.
    LockFile line(directory, "line");
    line.Lock();
    for (;; std::this_thread::sleep_for(kLookAgainAfter)) {
      for (int builder = 0; builder < builders; ++builder) {
        LockFile place(directory, "builder." + std::to_string(builder));
        if (place.TryLock()) return BuildTurn(std::move(ticket), std::move(place));
      }
    }
  }
  return std::nullopt;
}

}  // namespace vexathumb::service
