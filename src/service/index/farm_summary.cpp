#include "service/index/farm_summary.h"

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace vexathumb::service {
namespace {

using nlohmann::json;

constexpr size_t kExitColumn = 6;  // of a job log

}  // namespace

std::optional<FarmTally::DoneShard> FarmTally::Take(const std::string& line) {
  const size_t tab = line.find('\t');
  if (tab == std::string::npos || tab + 1 == line.size()) return std::nullopt;
  const json said =
      json::parse(line.begin() + static_cast<std::ptrdiff_t>(tab) + 1, line.end(), nullptr, false);
  if (!said.is_object()) return std::nullopt;
  const std::string shard = line.substr(0, tab);
  const auto begun = in_hand_.find(shard);
  if (const auto host = said.find("host"); host != said.end() && host->is_string()) {
    if (begun != in_hand_.end()) ++hosts_[begun->second].left;
    hosts_[in_hand_[shard] = *host];
    return std::nullopt;
  }
  if (begun == in_hand_.end()) return std::nullopt;
  if (said.contains("file") && said.value("state", json()) == "built") {
    ++hosts_[begun->second].built;
  }
  if (!said.contains("summary")) return std::nullopt;
  const DoneShard done = {shard, begun->second};
  in_hand_.erase(begun);
  return done;
}

uint64_t FarmTally::built() const {
  uint64_t sum = 0;
  for (const auto& [name, host] : hosts_) sum += host.built;
  return sum;
}

uint64_t CountDoneShards(std::istream& joblog) {
  std::set<std::string> done;
  std::string line;
  std::getline(joblog, line);  // the columns' names
  while (std::getline(joblog, line)) {
    std::istringstream columns(line);
    std::string shard;
    std::string column;
    std::getline(columns, shard, '\t');
    for (size_t i = 1; i <= kExitColumn; ++i) std::getline(columns, column, '\t');
    if (columns && column == "0") {
      done.insert(shard);
    } else {
      done.erase(shard);
    }
  }
  return done.size();
}

}  // namespace vexathumb::service
