#ifndef VEXATHUMB_SERVICE_INDEX_FARM_JOBS_H_
#define VEXATHUMB_SERVICE_INDEX_FARM_JOBS_H_

#include <stdexcept>
#include <string>
#include <vector>

namespace vexathumb::service {

// What GNU Parallel is told so that several hosts, which mount the same storage, build the shards
// of a manifest.

// Hosts or a log that cannot be used; one line without the file's name.
struct FarmError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct FarmHost {
  std::string login;    // "user@host", or ":" for this machine
  std::string mapping;  // "FROM=TO" where it has the storage elsewhere (manifest.h); else empty
};

// A host a line, its mapping behind it; "#" begins a comment. Throws FarmError.
std::vector<FarmHost> ParseFarmHosts(const std::string& text);

struct FarmBuild {
  std::string program;               // on the hosts
  std::string manifest;              // its absolute path on this machine
  std::vector<std::string> options;  // of `vexathumb build` besides
};

// The command by which a host builds a shard, whose number GNU Parallel puts in the place of {}.
// Tells which host it is, then what `vexathumb build --json` tells; fails when the shard must be
// done again. Throws FarmError for what GNU Parallel would not leave as it is.
std::string FarmCommand(const FarmBuild& build, const std::vector<FarmHost>& hosts);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_FARM_JOBS_H_
