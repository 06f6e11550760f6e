#include "service/store/build_slot.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "service/base/path_name.h"

namespace vexathumb::service {
namespace {

constexpr char kLine[] = "line";  // held by whoever is first among those that wait
constexpr char kBuilder[] = "builder.";
constexpr char kTicket[] = "ticket.";
constexpr size_t kSourceLockFiles = 256;
constexpr std::chrono::milliseconds kLookAgainAfter{5};

std::string SourceNumber(const std::string& source) {
  const std::string base_name = LastComponent(source);
  return std::to_string(std::hash<std::string>()(base_name) % kSourceLockFiles);
}

std::string SourceLockName(const std::string& source) { return "source." + SourceNumber(source); }

// Held by whoever is first among those that wait for the source.
std::string SourceLineName(const std::string& source) { return "line." + SourceNumber(source); }

bool IsHeld(const std::string& directory, const std::string& name) {
  return LockFile(directory, name).IsHeldByAnother();
}

// Whether all was done before the deadline.
template <typename Try>
bool TryUntil(const Deadline& deadline, Try done) {
  while (!done()) {
    if (deadline && std::chrono::steady_clock::now() >= *deadline) return false;
    std::this_thread::sleep_for(kLookAgainAfter);
  }
  return true;
}

bool LockUntil(const Deadline& deadline, LockFile* file) {
  if (!deadline) file->Lock();
  return !deadline || TryUntil(deadline, [file] { return file->TryLock(); });
}

// The first of `count` lock files that is free.
std::optional<LockFile> TakeAny(const std::string& directory, const std::string& name, int count) {
  for (int number = 0; number < count; ++number) {
    LockFile file(directory, name + std::to_string(number));
    if (file.TryLock()) return file;
  }
  return std::nullopt;
}

// How many of the first `count` lock files are held.
int CountHeld(const std::string& directory, const std::string& name, int count) {
  const std::filesystem::path folder = LockFolder(directory);
  int held = 0;
  for (int number = 0; number < count; ++number) {
    const std::string file = name + std::to_string(number);
    // The first that is free is taken: they have no gaps.
    if (access((folder / file).c_str(), F_OK) != 0) break;
    if (IsHeld(directory, file)) ++held;
  }
  return held;
}

int TicketsOf(const BuildLimits& limits) { return std::max(limits.builders, 1) + limits.waiting; }

// The workers that may build or wait at once.
int SeatsOf(const BuildLimits& limits) { return std::max(limits.workers - 1, 1); }

// Workers are counted among themselves: they are not to be kept from work by those who wait on the
// command line.
int MostWaitingForOneSource(const BuildLimits& limits) {
  const int most = TicketsOf(limits);
  return std::max((limits.workers > 0 ? std::min(most, SeatsOf(limits)) : most) / 2, 1);
}

}  // namespace

std::optional<BuildTicket> BuildTicket::Take(const std::string& directory,
                                             const BuildLimits& limits) {
  auto file = TakeAny(directory, kTicket, TicketsOf(limits));
  if (!file) return std::nullopt;
  BuildTicket ticket(std::move(*file));
  if (limits.workers == 0) return ticket;
  auto seat = TakeAny(directory, "seat.", SeatsOf(limits));
  if (!seat) return std::nullopt;
  ticket.seat_.emplace(std::move(*seat));
  return ticket;
}

BuildQueue LookAtQueue(const std::string& directory, const BuildLimits& limits) {
  return {CountHeld(directory, kBuilder, std::max(limits.builders, 1)),
          CountHeld(directory, kTicket, TicketsOf(limits))};
}

SourceLock::SourceLock(const std::string& directory, const std::string& source)
    : file_(directory, SourceLockName(source)) {
  if (file_.TryLock()) return;
  LockFile line(directory, SourceLineName(source));
  line.Lock();
  file_.Lock();
}

std::optional<SourceLock> SourceLock::Take(const std::string& directory, const std::string& source,
                                           const BuildLimits& limits, const Deadline& deadline) {
  LockFile file(directory, SourceLockName(source));
  if (file.TryLock()) return SourceLock(std::move(file));
  const std::string kind = limits.workers > 0 ? "waiting-worker." : "waiting.";
  const auto waiting =
      TakeAny(directory, kind + SourceNumber(source) + ".", MostWaitingForOneSource(limits));
  if (!waiting) return std::nullopt;
  LockFile line(directory, SourceLineName(source));
  const bool is_taken = LockUntil(deadline, &line) && LockUntil(deadline, &file);
  return is_taken ? std::optional(SourceLock(std::move(file))) : std::nullopt;
}

std::optional<BuildSlot> BuildSlot::Take(const std::string& directory, const BuildLimits& limits,
                                         const Deadline& deadline) {
  // Only the first in line looks for a free slot, since the system cannot wait for any of several
  // locks.
  LockFile line(directory, kLine);
  std::optional<LockFile> slot;
  const auto take = [&] {
    if (auto free = TakeAny(directory, kBuilder, std::max(limits.builders, 1))) {
      slot.emplace(std::move(*free));
    }
    return slot.has_value();
  };
  if (!LockUntil(deadline, &line) || !TryUntil(deadline, take)) return std::nullopt;
  return BuildSlot(std::move(*slot));
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
  auto slot = TakeAny(directory_, kBuilder, std::max(limits_.builders, 1));
  if (!slot) return false;
  source_lock_.emplace(std::move(source_lock));
  slot_.emplace(std::move(*slot));
  return true;
}

}  // namespace vexathumb::service
