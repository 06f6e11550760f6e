#include "service/store/failure_record.h"

#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "common/util/util.h"
#include "service/base/atomic_file.h"
#include "service/base/version.h"
#include "service/store/store_files.h"
#include "service/store/store_names.h"

namespace vexathumb::service {
namespace {

constexpr off_t kMaxEntrySize = 64 << 10;  // ours are far smaller

using nlohmann::json;

// What makes a source the same one that failed before.
json IdentityOf(const struct stat& st) {
  return {{"mtime", st.st_mtim.tv_sec},
          {"mtime_ns", st.st_mtim.tv_nsec},
          {"size", st.st_size},
          {"version", kVersion}};
}

json ReadEntry(const std::string& path) {
  const auto st = StatusOfStoredFile(path);
  if (!st || st->st_size > kMaxEntrySize) return {};
  std::ifstream file(path);
  return json::parse(file, nullptr, false);
}

std::optional<BuildFailure> FailureOf(const std::string& source, const struct stat& st) {
  const json entry = ReadEntry(file::GetEAPath(source, kFailureEntryName));
  try {
    if (!entry.is_object() || entry.at("source") != IdentityOf(st)) return std::nullopt;
    return BuildFailure{entry.at("reason"), entry.at("tool"), entry.at("attempts")};
  } catch (const json::exception&) {
    return std::nullopt;  // not written by this program
  }
}

}  // namespace

std::optional<BuildFailure> RecordedFailure(const std::string& source) {
  struct stat st = {};
  if (stat(source.c_str(), &st) != 0) return std::nullopt;
  return FailureOf(source, st);
}

void RecordFailure(const std::string& source, const struct stat& tried, const std::string& reason,
                   const std::string& tool) {
  if (!IsStoreWritable(source)) return;
  const std::string path = file::GetEAPath(source, kFailureEntryName);
  const auto before = FailureOf(source, tried);
  const json entry = {{"reason", reason},
                      {"tool", tool},
                      {"attempts", before ? before->attempts + 1 : 1},
                      {"source", IdentityOf(tried)}};
  const std::string text = entry.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  AtomicFile file(path);
  const int fd = file.Create();
  if (fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
    file.Commit();
  }
}

void RemoveFailureRecord(const std::string& source) {
  const std::string path = file::GetEAPath(source, kFailureEntryName);
  if (!path.empty()) unlink(path.c_str());
}

}  // namespace vexathumb::service
