#include "service/store/failure_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "common/util/util.h"
#include "service/base/version.h"
#include "service/store/store_files.h"

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

// A file with this text under a name that nothing had yet.
bool WriteNew(const std::string& path, const std::string& text) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return false;
  const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  return close(fd) == 0 && written;
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
  const std::string temporary = TemporaryFor(path);
  const std::string text = entry.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  if (!WriteNew(temporary, text) || rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
  }
}

void RemoveFailureRecord(const std::string& source) {
  const std::string path = file::GetEAPath(source, kFailureEntryName);
  if (!path.empty()) unlink(path.c_str());
}

}  // namespace vexathumb::service
