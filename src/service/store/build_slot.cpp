#include "service/store/build_slot.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "service/base/path_name.h"

namespace vexathumb::service {
namespace {

constexpr char kLine[] = "line";  // held by whoever is first among those that wait
constexpr size_t kSourceLockFiles = 256;
constexpr std::chrono::milliseconds kLookAgainAfter{5};

std::optional<LockFile> TryTakeSlot(const std::string& directory, const BuildLimits& limits) {
  for (int builder = 0; builder < std::max(limits.builders, 1); ++builder) {
    LockFile slot(directory, "builder." + std::to_string(builder));
    if (slot.TryLock()) return slot;
  }
  return std::nullopt;
}

std::string SourceNumber(const std::string& source) {
  const std::string base_name = LastComponent(source);
  return std::to_string(std::hash<std::string>()(base_name) % kSourceLockFiles);
}

std::string SourceLockName(const std::string& source) { return "source." + SourceNumber(source); }

// Held by whoever is first among those that wait for the source.
std::string SourceLineName(const std::string& source) { return "line." + SourceNumber(source); }

bool IsHeld(const std::string& directory, const std::string& name) {
  return !LockFile(directory, name).TryLock();
}

}  // namespace

SourceLock::SourceLock(const std::string& directory, const std::string& source)
    : file_(directory, SourceLockName(source)) {
  if (file_.TryLock()) return;
  LockFile line(directory, SourceLineName(source));
  line.Lock();
  file_.Lock();
}

std::optional<BuildSlot> BuildSlot::Take(const std::string& directory, const BuildLimits& limits) {
  const int builders = std::max(limits.builders, 1);
  for (int number = 0; number < builders + limits.waiting; ++number) {
    LockFile ticket(directory, "ticket." + std::to_string(number));
    if (!ticket.TryLock()) continue;
    // Only the first in line looks for a free slot, since the system cannot wait for any of
    // several locks.
    LockFile line(directory, kLine);
    line.Lock();
    for (;; std::this_thread::sleep_for(kLookAgainAfter)) {
      if (auto slot = TryTakeSlot(directory, limits)) {
        return BuildSlot(std::move(ticket), std::move(*slot));
      }
    }
  }
  return std::nullopt;
}

bool BackgroundSlot::Take(const std::function<bool()>& give_up) {
  while (!TryTake()) {
    if (give_up()) return false;
    std::this_thread::sleep_for(kLookAgainAfter);
  }
  return true;
}

bool BackgroundSlot::GiveWay(const std::function<bool()>& give_up) {
  if (!IsHeld(directory_, kLine) && !IsHeld(directory_, SourceLineName(source_))) return true;
  source_lock_.reset();
  slot_.reset();
  return Take(give_up);
}

bool BackgroundSlot::TryTake() {
  if (IsHeld(directory_, SourceLineName(source_))) return false;
  LockFile source_lock(directory_, SourceLockName(source_));
  if (!source_lock.TryLock()) return false;
  LockFile line(directory_, kLine);
  if (!line.TryLock()) return false;
  auto slot = TryTakeSlot(directory_, limits_);
  if (!slot) return false;
  source_lock_.emplace(std::move(source_lock));
  slot_.emplace(std::move(*slot));
  return true;
}

}  // namespace vexathumb::service
