#include "programs/vexathumb-web/workers.h"

#include <unistd.h>

#include <optional>

#include "service/base/lock_file.h"

namespace vexathumb::web {
namespace {

constexpr int kMost = 4096;

// Each holds one of these, the first that was free: they have no gaps.
std::string NameOf(int number) { return "worker." + std::to_string(number); }

struct Place {
  std::string directory;
  service::LockFile file;
};

}  // namespace

void JoinWorkers(const std::string& lock_directory) {
  static std::optional<Place> own;
  if (own && own->directory == lock_directory) return;
  own.reset();
  for (int number = 0; number < kMost; ++number) {
    service::LockFile file(lock_directory, NameOf(number));
    if (!file.TryLock()) continue;
    own.emplace(Place{lock_directory, std::move(file)});
    return;
  }
}

int CountWorkers(const std::string& lock_directory) {
  int count = 0;
  const std::string folder = service::LockFolder(lock_directory);
  for (int number = 0; number < kMost; ++number) {
    if (access((folder + "/" + NameOf(number)).c_str(), F_OK) != 0) break;
    if (service::LockFile(lock_directory, NameOf(number)).IsHeldByAnother()) ++count;
  }
  return count;
}

}  // namespace vexathumb::web
