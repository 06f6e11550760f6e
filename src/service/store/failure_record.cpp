#include "service/store/failure_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "common/util/util.h"
#include "posix/unique_fd.h"
#include "service/base/atomic_file.h"
#include "service/base/version.h"
#include "service/store/store_files.h"
#include "service/store/store_names.h"
#include "vexaplatform/confinement.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

using nlohmann::json;
using std::chrono::seconds;

constexpr off_t kMaxEntrySize = 64 << 10;  // ours are far smaller
constexpr size_t kMaxForms = 24;           // boxes are free: others may ask for any number of them
constexpr seconds kFirstPause{60};
constexpr seconds kLongestPause{24 * 60 * 60};

// What makes a source the same one that failed before.
json IdentityOf(const struct stat& st) {
  return {{"mtime", st.st_mtim.tv_sec},
          {"mtime_ns", st.st_mtim.tv_nsec},
          {"size", st.st_size},
          {"version", kVersion}};
}

// Those of each tool, and what its policy says.
json PresentLimits() {
  json limits = json::object();
  for (const auto& [tool, of_tool] : vexaplatform::CurrentSettings()->tools.limits) {
    limits[tool] = {of_tool.address_space, of_tool.cpu_time,   of_tool.wall_time,
                    of_tool.file_size,     of_tool.open_files, of_tool.jpeg_memory,
                    of_tool.written,       of_tool.tasks};
  }
  std::ifstream policy(vexaplatform::AskConfinement().policy + "/policy.xml");
  uint64_t sum = 0xcbf29ce484222325U;  // FNV-1a
  for (std::istreambuf_iterator<char> octet(policy); octet != std::istreambuf_iterator<char>();
       ++octet) {
    sum = (sum ^ static_cast<unsigned char>(*octet)) * 0x100000001b3U;
  }
  limits["policy"] = sum;
  return limits;
}

// Whether what failed under limits may do better under others. Under lower ones it would not, so
// that hosts with different limits do not try in turn.
bool AllowMore(const json& present, const json& tried) {
  if (present.at("policy") != tried.at("policy")) return true;
  for (const auto& [tool, limits] : present.items()) {
    if (tool == "policy") continue;
    if (!tried.contains(tool)) return true;
    const json& before = tried.at(tool);
    if (before.size() != limits.size()) return true;
    for (size_t i = 0; i < limits.size(); ++i) {
      if (limits.at(i).get<int>() > before.at(i).get<int>()) return true;
    }
  }
  return false;
}

json ReadEntry(const std::string& path) {
  if (!StatusOfStoredFile(path)) return {};
  // Another may stand there by now.
  const posix::UniqueFd file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat st = {};
  if (!file || fstat(file.get(), &st) != 0 || !S_ISREG(st.st_mode)) return {};
  if (st.st_size > kMaxEntrySize) return {};
  std::string text(static_cast<size_t>(st.st_size), '\0');
  const ssize_t size = read(file.get(), text.data(), text.size());
  return json::parse(text.substr(0, static_cast<size_t>(std::max<ssize_t>(size, 0))), nullptr,
                     false);
}

// The forms as an object by their names; empty where nothing holds of the source any more.
json FormsIn(json entry, const struct stat& st) {
  const bool holds = entry.is_object() && entry.contains("source") && entry.contains("forms") &&
                     entry["source"] == IdentityOf(st) && entry["forms"].is_object();
  return holds ? std::move(entry["forms"]) : json::object();
}

json FormsOf(const std::string& source, const struct stat& st) {
  return FormsIn(ReadEntry(file::GetEAPath(source, kFailureEntryName)), st);
}

std::optional<BuildFailure> FailureFrom(const std::string& form, const json& entry) {
  try {
    BuildFailure failure = {form, entry.at("reason"), entry.at("tool"), entry.at("attempts"), {}};
    if (entry.at("state") == "postponed") failure.next_try = entry.at("next_try").get<time_t>();
    const bool has_failed = entry.at("state") == "failed";
    if (has_failed && AllowMore(PresentLimits(), entry.at("limits"))) return std::nullopt;
    return has_failed || failure.IsPostponed() ? std::make_optional(failure) : std::nullopt;
  } catch (const json::exception&) {
    return std::nullopt;  // not written by this program
  }
}

// A clock that was set back keeps nothing waiting for longer than a pause.
bool Holds(const BuildFailure& failure) {
  const time_t now = time(nullptr);
  return !failure.IsPostponed() ||
         (*failure.next_try > now && *failure.next_try <= now + kLongestPause.count());
}

seconds PauseAfter(int attempts) {
  seconds pause = kFirstPause;
  for (int i = 1; i < attempts && pause < kLongestPause; ++i) pause *= 2;
  return std::min(pause, kLongestPause);
}

// 0, or errno.
int Write(const std::string& source, const struct stat& tried, const json& forms) {
  const json entry = {{"source", IdentityOf(tried)}, {"forms", forms}};
  const std::string text = entry.dump(1, ' ', false, json::error_handler_t::replace) + "\n";
  const std::string path = file::GetEAPath(source, kFailureEntryName);
  if (path.empty()) return ENAMETOOLONG;
  AtomicFile file(path, OpenStoreDirectory(source, tried));
  const int fd = file.Create();
  if (fd < 0) return errno;
  const ssize_t size = write(fd, text.data(), text.size());
  if (size >= 0 && static_cast<size_t>(size) < text.size()) return ENOSPC;
  return size > 0 && file.Commit() ? 0 : errno;
}

// Makes place for one more.
void DropSome(json* forms) {
  while (forms->size() >= kMaxForms) forms->erase(forms->begin());
}

// Adds the attempt to what is remembered of the form, in the state that `fill` gives it.
template <typename Fill>
int Record(const std::string& source, const struct stat& tried, BuildFailure failure,
           const Fill& fill) {
  if (!IsStoreWritable(source)) return EROFS;
  json forms = FormsOf(source, tried);
  const auto before =
      forms.contains(failure.form) ? FailureFrom(failure.form, forms[failure.form]) : std::nullopt;
  forms.erase(failure.form);
  DropSome(&forms);
  json entry = {{"reason", failure.reason},
                {"tool", failure.tool},
                {"attempts", before ? before->attempts + 1 : 1}};
  fill(&entry);
  forms[failure.form] = entry;
  return Write(source, tried, forms);
}

}  // namespace

std::optional<BuildFailure> RecordedFailure(const std::string& source,
                                            const std::vector<std::string>& forms) {
  std::optional<BuildFailure> postponed;
  for (BuildFailure& failure : RecordedFailures(source)) {
    const bool is_asked_for = failure.form == kEveryForm ||
                              std::find(forms.begin(), forms.end(), failure.form) != forms.end();
    if (!is_asked_for || !Holds(failure)) continue;
    if (!failure.IsPostponed()) return failure;
    postponed = std::move(failure);
  }
  return postponed;
}

std::vector<BuildFailure> RecordedFailures(const std::string& source) {
  std::vector<BuildFailure> failures;
  // Most sources have none, and need not be looked at for that.
  json record = ReadEntry(file::GetEAPath(source, kFailureEntryName));
  struct stat st = {};
  if (!record.is_object() || stat(source.c_str(), &st) != 0) return failures;
  const json forms = FormsIn(std::move(record), st);
  for (const auto& [form, entry] : forms.items()) {
    if (auto failure = FailureFrom(form, entry)) failures.push_back(*std::move(failure));
  }
  return failures;
}

int RecordFailure(const std::string& source, const struct stat& tried, const std::string& form,
                  const std::string& reason, const std::string& tool) {
  return Record(source, tried, {form, reason, tool, 0, {}}, [](json* entry) {
    (*entry)["state"] = "failed";
    (*entry)["limits"] = PresentLimits();
  });
}

seconds RecordPostponement(const std::string& source, const struct stat& tried,
                           const std::string& form, const std::string& reason,
                           const std::string& tool) {
  seconds pause = kFirstPause;
  Record(source, tried, {form, reason, tool, 0, {}}, [&pause](json* entry) {
    pause = PauseAfter(entry->at("attempts"));
    (*entry)["state"] = "postponed";
    (*entry)["next_try"] = time(nullptr) + pause.count();
  });
  return pause;
}

void RemoveFailureRecord(const std::string& source, const std::vector<std::string>& forms) {
  const std::string path = file::GetEAPath(source, kFailureEntryName);
  struct stat st = {};
  if (path.empty() || access(path.c_str(), F_OK) != 0) return;
  json rest = stat(source.c_str(), &st) == 0 ? FormsOf(source, st) : json::object();
  for (const std::string& form : forms) rest.erase(form);
  rest.erase(kEveryForm);
  if (rest.empty()) {
    unlink(path.c_str());
  } else {
    Write(source, st, rest);
  }
}

}  // namespace vexathumb::service
