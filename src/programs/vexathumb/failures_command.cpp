#include <array>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/util/util.h"
#include "programs/vexathumb/build_again.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/printable.h"
#include "programs/vexathumb/report.h"
#include "service/store/failure_list.h"

namespace vexathumb::program {
namespace {

struct FailuresOptions {
  std::vector<std::string> names;
  bool retry = false;
  bool json = false;
};

std::string TimeText(time_t time, const char* format) {
  struct tm parts = {};
  std::array<char, 40> text = {};
  strftime(text.data(), text.size(), format, gmtime_r(&time, &parts));
  return text.data();
}

std::string Line(const service::BuildFailure& failure) {
  if (!failure.IsPostponed()) return failure.reason;
  return failure.reason + "; postponed after " +
         Counted(static_cast<uint64_t>(failure.attempts), "try", "tries") + ", next try after " +
         TimeText(*failure.next_try, "%Y-%m-%d %H:%M:%S UTC");
}

Json ToJson(const std::string& source, const service::BuildFailure& failure) {
  return {
      {"file", source},
      {"state", failure.IsPostponed() ? "postponed" : "failed"},
      {"error", failure.reason},
      {"tool", TextOrNull(failure.tool)},
      {"attempts", failure.attempts},
      {"next_try",
       failure.IsPostponed() ? Json(TimeText(*failure.next_try, "%Y-%m-%dT%H:%M:%SZ")) : Json()},
      {"form", failure.form}};
}

// Forms that failed alike are one line for a person.
class FailureList {
 public:
  explicit FailureList(bool json) : json_(json) {}

  void Print(const std::string& source, const service::BuildFailure& failure) {
    if (json_) return PrintJson(ToJson(source, failure));
    std::string line = ForOutput(source) + ": " + Printable(Line(failure));
    if (line == last_) return;
    std::cout << line << "\n";
    last_ = std::move(line);
  }

 private:
  const bool json_;
  std::string last_;
};

ExitCode RunFailures(const FailuresOptions& options) {
  NamedPaths named(options.names);
  std::vector<service::SourceItem> failed;
  FailureList list(options.json);
  for (const std::string& path : named.paths()) {
    service::ListFailures(
        path,
        [&](const std::string& source, const service::BuildFailure& failure) {
          if (!options.retry) list.Print(source, failure);
          if (!failed.empty() && failed.back().path == source) return;
          failed.emplace_back().path = source;
        },
        [&named](const auto& folder, const auto& cause) { named.Unreadable(folder, cause); });
  }
  if (options.retry) {
    return named.ExitCodeAfter(
        BuildAgain(std::move(failed), {kSmall, kMedium, kBig, kLarge, kExtraLarge}, options.json));
  }
  return named.ExitCodeAfter(failed.empty() ? kDone : kNoThumbnail);
}

}  // namespace

Run AddFailuresCommand(CLI::App& app) {
  const auto options = std::make_shared<FailuresOptions>();
  CLI::App* command = app.add_subcommand(
      "failures", "List the files without a thumbnail that have failed or are postponed, and why");
  command->add_option("PATH", options->names, "Files, and folders of files")->required();
  command->add_flag("--retry", options->retry, "Try them again now");
  command->add_flag("--json", options->json, "Report as JSON, one object a line");
  return [options] { return RunFailures(*options); };
}

}  // namespace vexathumb::program
