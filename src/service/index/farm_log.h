#ifndef VEXATHUMB_SERVICE_INDEX_FARM_LOG_H_
#define VEXATHUMB_SERVICE_INDEX_FARM_LOG_H_

#include <cstdint>
#include <string>
#include <vector>

#include "service/index/farm_jobs.h"
#include "service/index/manifest.h"

namespace vexathumb::service {

// The folder that keeps what becomes of a manifest's shards on several hosts. In it lie
//   plan.json  which manifest it is about, and with which options
//   hosts      for GNU Parallel: a login a line, one shard at a time on each
//   shards     for GNU Parallel: the number of a shard a line
//   command    for GNU Parallel: what a host does for a shard
//   joblog     by GNU Parallel: a line for each shard and host
//   sources    what each host told of each source, a line each with the shard's number before it
class FarmLog {
 public:
  explicit FarmLog(std::string folder) : folder_(std::move(folder)) {}

  std::string joblog() const { return folder_ + "/joblog"; }
  std::string sources() const { return folder_ + "/sources"; }

  // Writes what GNU Parallel is told. What was kept of another manifest, or of a build with other
  // options, goes; of the same one it stays, so that the work goes on. Throws std::system_error.
  void Prepare(const ManifestFigures& manifest, const std::vector<FarmHost>& hosts,
               const FarmBuild& build, const std::string& command) const;

  // How many shards there are. Throws FarmError when nothing has been prepared.
  uint64_t Shards() const;

 private:
  std::string folder_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_FARM_LOG_H_
