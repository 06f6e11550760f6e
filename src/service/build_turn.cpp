#include "service/build_turn.h"

#include <functional>

namespace vexathumb::service {
namespace {

constexpr size_t kSourceLockFiles = 256;

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
  for (int number = 0; number < limits.builders + limits.waiting; ++number) {
    LockFile ticket(directory, "ticket." + std::to_string(number));
    if (!ticket.TryLock()) continue;
    for (int builder = 0; builder < limits.builders; ++builder) {
      LockFile place(directory, "builder." + std::to_string(builder));
      if (place.TryLock()) return BuildTurn(std::move(ticket), std::move(place));
    }
    // Tickets are taken lowest first, so that the waiting spread over the places.
    LockFile place(directory, "builder." + std::to_string(number % limits.builders));
    place.Lock();
    return BuildTurn(std::move(ticket), std::move(place));
  }
  return std::nullopt;
}

}  // namespace vexathumb::service
