#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/quantity.h"
#include "programs/vexathumb/report.h"
#include "service/index/manifest.h"
#include "service/index/source_stream.h"

namespace vexathumb::program {
namespace {

struct PlanOptions {
  std::vector<std::string> paths;
  std::string output = "vexathumb.manifest";
  uint64_t shard_size = 0;
  bool videos = false;
  bool cross_file_systems = false;
  bool json = false;
};

ExitCode RunPlan(const PlanOptions& options) {
  service::WalkOptions walk;
  walk.videos = options.videos;
  walk.cross_file_systems = options.cross_file_systems;
  service::SourceStream sources(options.paths, nullptr, walk);
  ExitCode code = kDone;
  service::ManifestFigures figures;
  try {
    figures = service::WriteManifest(
        options.output, sources, options.shard_size, [&code](const service::SourceItem& item) {
          const bool is_missing = item.kind == service::SourceItem::Kind::kMissing;
          code = is_missing || code == kSourceUnreadable ? kSourceUnreadable : kNoThumbnail;
          PrintError(item.path, {item.cause, "it is left out"});
        });
  } catch (const std::system_error& error) {
    throw Failure{kInternal, options.output, {error.code().message(), "name another with -o"}};
  }
  if (options.json) {
    PrintJson({{"manifest", options.output},
               {"shards", figures.shards},
               {"sources", figures.sources},
               {"bytes", figures.bytes}});
  } else {
    std::cout << ForOutput(options.output) << ": " << Counted(figures.shards, "shard", "shards")
              << ", " << Counted(figures.sources, "source", "sources") << ", "
              << SizeText(figures.bytes) << "\n";
  }
  return code;
}

}  // namespace

Run AddPlanCommand(CLI::App& app) {
  const auto options = std::make_shared<PlanOptions>();
  CLI::App* command = app.add_subcommand(
      "plan", "Write a list of what is to be built, in shards for many machines");
  command->add_option("PATH", options->paths, "Pictures, and folders of pictures")->required();
  command->add_option("--shard-size", options->shard_size, "Sources in a shard at most")
      ->type_name("N")
      ->check(CLI::Range(uint64_t{1}, uint64_t{1000000}))
      ->required();
  command->add_option("-o,--output", options->output, "The file to write (vexathumb.manifest)")
      ->type_name("FILE");
  command->add_flag("--videos", options->videos, "Videos too");
  command->add_flag("--cross-file-systems", options->cross_file_systems,
                    "Go into folders on which another file system is mounted");
  command->add_flag("--json", options->json, "Report as JSON");
  return [options] { return RunPlan(*options); };
}

}  // namespace vexathumb::program
