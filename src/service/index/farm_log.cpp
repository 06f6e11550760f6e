#include "service/index/farm_log.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

namespace vexathumb::service {
namespace {

using nlohmann::json;

void Write(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  if (!file) throw std::system_error(errno, std::generic_category(), path);
}

json ReadPlan(const std::string& folder) {
  std::ifstream file(folder + "/plan.json");
  const json plan = json::parse(file, nullptr, false);
  const bool is_one = plan.is_object() && plan.contains("shards") &&
                      plan["shards"].is_number_unsigned() && plan.contains("checksum");
  return is_one ? plan : json();
}

}  // namespace

void FarmLog::Prepare(const ManifestFigures& manifest, const std::vector<FarmHost>& hosts,
                      const FarmBuild& build, const std::string& command) const {
  std::filesystem::create_directories(folder_);
  const json plan = {
      {"shards", manifest.shards}, {"checksum", manifest.checksum}, {"options", build.options}};
  // An option may hold bytes that are no text.
  const std::string text = plan.dump(-1, ' ', false, json::error_handler_t::replace);
  if (ReadPlan(folder_) != json::parse(text)) {
    std::filesystem::remove(joblog());
    std::filesystem::remove(sources());
  }
  std::string logins;
  for (const FarmHost& host : hosts) logins += "1/" + host.login + "\n";
  std::string shards;
  for (uint64_t shard = 1; shard <= manifest.shards; ++shard)
    shards += std::to_string(shard) + "\n";
  Write(folder_ + "/hosts", logins);
  Write(folder_ + "/shards", shards);
  Write(folder_ + "/command", command + "\n");
  Write(folder_ + "/plan.json", text + "\n");
}

uint64_t FarmLog::Shards() const {
  const json plan = ReadPlan(folder_);
  if (plan.is_null()) throw FarmError("holds no plan that was prepared");
  return plan["shards"];
}

}  // namespace vexathumb::service
