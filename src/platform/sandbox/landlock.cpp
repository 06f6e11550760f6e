#include "platform/sandbox/landlock.h"

#include <linux/landlock.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "platform/base/bare_calls.h"

namespace vexaplatform {
namespace {

// What kernel headers older than the kernel lack.
constexpr uint64_t kTruncate = 1U << 14;       // version 3
constexpr uint64_t kDeviceControl = 1U << 15;  // version 5
constexpr uint64_t kConnectAndBind = 3;        // version 4
constexpr uint64_t kSignalsAndSockets = 3;     // version 6

struct RulesetAttributes {
  uint64_t files;
  uint64_t network;
  uint64_t scopes;
};

constexpr uint64_t kReadFile = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr uint64_t kWriteFile = LANDLOCK_ACCESS_FS_WRITE_FILE | kTruncate;
constexpr uint64_t kOfFiles = LANDLOCK_ACCESS_FS_EXECUTE | kReadFile | kWriteFile | kDeviceControl;
constexpr uint64_t kFirstVersion = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1;

uint64_t FileRights(int version) {
  uint64_t rights = kFirstVersion;
  if (version >= 2) rights |= LANDLOCK_ACCESS_FS_REFER;
  if (version >= 3) rights |= kTruncate;
  if (version >= 5) rights |= kDeviceControl;
  return rights;
}

uint64_t RightsFor(PathUse use) {
  constexpr uint64_t kMake = LANDLOCK_ACCESS_FS_MAKE_REG;
  constexpr uint64_t kRemove = LANDLOCK_ACCESS_FS_REMOVE_FILE;
  switch (use) {
    case PathUse::kReadSystem:
      return kReadFile | LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_EXECUTE;
    case PathUse::kRead:
      return kReadFile;
    case PathUse::kDestination:
    case PathUse::kWriteDevice:
      return kReadFile | kWriteFile;
    case PathUse::kMoveFrom:
      return kRemove | LANDLOCK_ACCESS_FS_REFER;
    case PathUse::kMoveTo:
      return kMake | kRemove | kWriteFile | LANDLOCK_ACCESS_FS_REFER;
    case PathUse::kTemporary:
      return kMake | kRemove | kReadFile | kWriteFile | LANDLOCK_ACCESS_FS_READ_DIR;
  }
  return 0;
}

int AddRule(int ruleset, const PathRule& rule, int destination, uint64_t known) {
  const bare::Descriptor parent(rule.use == PathUse::kDestination
                                    ? bare::Duplicate(destination, 0)
                                    : bare::Open(rule.path.c_str(), O_PATH | O_CLOEXEC));
  struct statx status {};
  if (!parent || bare::Status(parent.get(), "", &status) != 0) return 0;
  const dev_t device = makedev(status.stx_dev_major, status.stx_dev_minor);
  if (rule.expected != nullptr && !IsExpected(*rule.expected, device, status.stx_ino)) {
    errno = ESTALE;
    return -1;
  }
  uint64_t rights = RightsFor(rule.use) & known;
  if (!S_ISDIR(status.stx_mode)) rights &= kOfFiles;
  if (rights == 0) return 0;
  landlock_path_beneath_attr attributes{};
  attributes.allowed_access = rights;
  attributes.parent_fd = parent.get();
  return static_cast<int>(
      syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &attributes, 0));
}

}  // namespace

int LandlockVersion() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  return version > 0 ? static_cast<int>(version) : 0;
}

int MakeLandlockRuleset(const std::vector<PathRule>& rules, int destination) {
  const int version = LandlockVersion();
  RulesetAttributes attributes{};
  attributes.files = FileRights(version);
  size_t size = sizeof(attributes.files);
  if (version >= 4) {
    attributes.network = kConnectAndBind;
    size += sizeof(attributes.network);
  }
  if (version >= 6) {
    attributes.scopes = kSignalsAndSockets;
    size += sizeof(attributes.scopes);
  }
  bare::Descriptor ruleset(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, size, 0)));
  if (!ruleset) return -1;
  for (const PathRule& rule : rules) {
    if (AddRule(ruleset.get(), rule, destination, attributes.files) != 0) return -1;
  }
  return ruleset.Release();
}

int EnterLandlockRuleset(int ruleset) {
  return static_cast<int>(syscall(SYS_landlock_restrict_self, ruleset, 0));
}

}  // namespace vexaplatform
