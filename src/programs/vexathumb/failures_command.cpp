#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/printable.h"
#include "programs/vexathumb/report.h"
#include "service/failure_list.h"

namespace vexathumb::program {
namespace {

struct FailuresOptions {
  std::vector<std::string> names;
  bool json = false;
};

void PrintFailure(const std::string& source, const service::BuildFailure& failure, bool json) {
  if (json) {
    PrintJson({{"file", source},
               {"error", failure.reason},
               {"tool", failure.tool.empty() ? Json() : Json(failure.tool)},
               {"attempts", failure.attempts}});
    return;
  }
  std::cout << ForOutput(source) << ": " << Printable(failure.reason) << "\n";
}

ExitCode RunFailures(const FailuresOptions& options) {
  NamedPaths named(options.names);
  uint64_t failures = 0;
  for (const std::string& path : named.paths()) {
    service::ListFailures(
        path,
        [&](const std::string& source, const service::BuildFailure& failure) {
          ++failures;
          PrintFailure(source, failure, options.json);
        },
        [&named](const auto& folder, const auto& cause) { named.Unreadable(folder, cause); });
  }
  return named.ExitCodeAfter(failures > 0 ? kNoThumbnail : kDone);
}

}  // namespace

Run AddFailuresCommand(CLI::App& app) {
  const auto options = std::make_shared<FailuresOptions>();
  CLI::App* command =
      app.add_subcommand("failures", "List the files that no thumbnail can be made of, and why");
  command->add_option("PATH", options->names, "Files, and folders of files")->required();
  command->add_flag("--json", options->json, "Report as JSON, one object a line");
  return [options] { return RunFailures(*options); };
}

}  // namespace vexathumb::program
