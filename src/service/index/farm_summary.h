#ifndef VEXATHUMB_SERVICE_INDEX_FARM_SUMMARY_H_
#define VEXATHUMB_SERVICE_INDEX_FARM_SUMMARY_H_

#include <cstdint>
#include <istream>
#include <map>
#include <optional>
#include <string>

namespace vexathumb::service {

// Which host did what, by the lines that GNU Parallel passes on from FarmCommand's hosts.
class FarmTally {
 public:
  struct Host {
    uint64_t built = 0;  // sources
    uint64_t left = 0;   // shards that it began and another one had to do
  };
  struct DoneShard {
    std::string shard;
    std::string host;
  };

  // Takes a line: a shard's number, a tab, and what its host said. A shard that it says to be done
  // is returned. A line that a host did not finish counts for nothing.
  std::optional<DoneShard> Take(const std::string& line);

  const std::map<std::string, Host>& hosts() const { return hosts_; }
  uint64_t built() const;  // sources, by all hosts

 private:
  std::map<std::string, Host> hosts_;
  std::map<std::string, std::string> in_hand_;  // which host has begun a shard
};

// How many shards are done by GNU Parallel's job log, in which the last line about a shard counts.
uint64_t CountDoneShards(std::istream& joblog);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_FARM_SUMMARY_H_
