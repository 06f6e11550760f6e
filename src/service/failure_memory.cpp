#include "service/failure_memory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "common/util/util.h"
#include "service/store_files.h"
#include "service/version.h"

namespace vexathumb::service {
namespace {

constexpr char kEntryName[] = "VEXATHUMB_FAILURE.json";

using nlohmann::json;

// What makes a source the same one that failed before.
json IdentityOf(const std::string& source) {
  struct stat st = {};
  if (stat(source.c_str(), &st) != 0) return nullptr;
  return {{"mtime", st.st_mtim.tv_sec},
          {"mtime_ns", st.st_mtim.tv_nsec},
          {"size", st.st_size},
          {"version", kVersion}};
}

}  // namespace

std::optional<BuildFailure> RememberedFailure(const std::string& source) {
  std::ifstream file(file::GetEAPath(source, kEntryName));
  const json record = json::parse(file, nullptr, false);
  if (!record.is_object() || record.value("source", json()) != IdentityOf(source)) {
    return std::nullopt;
  }
  try {
    return BuildFailure{record.at("reason"), record.at("tool"), record.at("attempts")};
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

void RememberFailure(const std::string& source, const std::string& reason,
                     const std::string& tool) {
  const std::string path = file::GetEAPath(source, kEntryName);
  if (path.empty() || !file::MakeEADir(source)) return;
  const auto before = RememberedFailure(source);
  const json record = {{"reason", reason},
                       {"tool", tool},
                       {"attempts", before ? before->attempts + 1 : 1},
                       {"source", IdentityOf(source)}};
  const std::string temporary = TemporaryFor(path);
  std::ofstream file(temporary, std::ios::trunc);
  file << record.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
  file.close();
  if (!file || rename(temporary.c_str(), path.c_str()) != 0) unlink(temporary.c_str());
}

void ForgetFailure(const std::string& source) {
  const std::string path = file::GetEAPath(source, kEntryName);
  if (!path.empty()) unlink(path.c_str());
}

}  // namespace vexathumb::service
