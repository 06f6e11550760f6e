#include "service/build_turn.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

namespace vexathumb::service {
namespace {

constexpr char kLine[] = "line";  // held by whoever is first among those that wait
constexpr size_t kSourceLockFiles = 256;
constexpr std::chrono::milliseconds kLookAgainAfter{5};

std::optional<LockFile> TryTakePlace(const std::string& directory, const BuildLimits& limits) {
  for (int builder = 0; builder < std::max(limits.builders, 1); ++builder) {
    LockFile place(directory, "builder." + std::to_string(builder));
    if (place.TryLock()) return place;
  }
  return std::nullopt;
}

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
    LockFile line(directory, kLine);
    line.Lock();
    for (;; std::this_thread::sleep_for(kLookAgainAfter)) {
      if (auto place = TryTakePlace(directory, limits)) {
        return BuildTurn(std::move(ticket), std::move(*place));
      }
    }
  }
  return std::nullopt;
}

bool BackgroundTurn::Take(const std::function<bool()>& give_up) {
  while (!TryTake()) {
    if (give_up()) return false;
    std::this_thread::sleep_for(kLookAgainAfter);
  }
  return true;
}

bool BackgroundTurn::GiveWay(const std::function<bool()>& give_up) {
  if (LockFile(directory_, kLine).TryLock()) return true;
  place_.reset();
  return Take(give_up);
}

bool BackgroundTurn::TryTake() {
  LockFile line(directory_, kLine);
  if (!line.TryLock()) return false;
  if (auto place = TryTakePlace(directory_, limits_)) place_.emplace(std::move(*place));
  return place_.has_value();
}

}  // namespace vexathumb::service
