#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/util/util.h"
#include "programs/vexathumb/build_again.h"
#include "programs/vexathumb/commands.h"
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

void PrintFailure(const std::string& source, const service::BuildFailure& failure, bool json) {
  if (json) {
    PrintJson({{"file", source},
               {"error", failure.reason},
               {"tool", TextOrNull(failure.tool)},
               {"attempts", failure.attempts}});
    return;
  }
  std::cout << ForOutput(source) << ": " << Printable(failure.reason) << "\n";
}

ExitCode RunFailures(const FailuresOptions& options) {
  NamedPaths named(options.names);
  std::vector<service::SourceItem> failed;
  for (const std::string& path : named.paths()) {
    service::ListFailures(
        path,
        [&](const std::string& source, const service::BuildFailure& failure) {
          service::SourceItem item;
          item.path = source;
          failed.push_back(item);
          if (!options.retry) PrintFailure(source, failure, options.json);
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
  CLI::App* command =
      app.add_subcommand("failures", "List the files that no thumbnail can be made of, and why");
  command->add_option("PATH", options->names, "Files, and folders of files")->required();
  command->add_flag("--retry", options->retry, "Try them again now");
  command->add_flag("--json", options->json, "Report as JSON, one object a line");
  return [options] { return RunFailures(*options); };
}

}  // namespace vexathumb::program
