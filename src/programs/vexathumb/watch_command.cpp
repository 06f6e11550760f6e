#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "common/util/util.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/report.h"
#include "programs/vexathumb/sizes_option.h"
#include "service/base/background.h"
#include "service/index/indexer.h"
#include "service/index/source_build.h"
#include "service/watch/watched_sources.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

using service::BuildState;

struct WatchCommandOptions {
  std::vector<std::string> folders;
  std::vector<std::string> sizes = {kSmall, kMedium, kBig, kLarge, kExtraLarge};
  double quiet = 2;
  bool videos = false;
  bool cross_file_systems = false;
  int look_again = 15;
  int jobs = 1;
  bool nice = false;
  bool dry_run = false;
  bool json = false;
};

// Tells what is built and what fails, and once what keeps everything from being built; of what is
// current nothing.
class WatchReport : public service::IndexObserver {
 public:
  WatchReport(service::WatchedSources& sources, bool json) : sources_(sources), json_(json) {}

  void OnReport(const service::SourceReport& report) override {
    ++count_;
    if (report.state == BuildState::kPostponed) {
      TellObstacle(report);
      sources_.GiveAgain(report.source);
      return;
    }
    const bool is_news = report.state == BuildState::kBuilt || report.state == BuildState::kDue ||
                         (report.state == BuildState::kFailed && !report.is_known_failure);
    if (!is_news) return;
    obstacle_.clear();
    if (json_) {
      PrintJson({{"file", report.source},
                 {"state", NameOf(report.state)},
                 {"error", report.cause.text.empty() ? Json() : Json(report.cause.text)}});
    } else if (report.state == BuildState::kFailed) {
      PrintError(report.source, report.cause);
    } else {
      std::cout << ForOutput(report.source) << ": " << NameOf(report.state) << "\n";
    }
    std::cout.flush();
  }

  void OnUnreadable(const service::SourceItem& item) override {
    PrintError(item.path, {item.cause, ""});
  }

  void OnTick(const std::vector<std::string>& in_hand, bool is_asked) override {
    if (!is_asked) return;
    std::string text = std::to_string(count_) + " looked at since the start";
    for (const std::string& source : in_hand) text += ", now " + source;
    PrintError("", {text, ""});
  }

 private:
  void TellObstacle(const service::SourceReport& report) {
    if (report.cause.text.empty() || report.cause.text == obstacle_) return;
    obstacle_ = report.cause.text;
    PrintError(report.source, {obstacle_, "this and what else waits is tried again"});
  }

  service::WatchedSources& sources_;
  const bool json_;
  std::string obstacle_;  // as last told, until something is built again
  uint64_t count_ = 0;
};

std::vector<std::string> FoldersOf(const NamedPaths& named) {
  for (const std::string& path : named.paths()) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      throw Failure{kUsage, path, {"is no folder", "name the folder that it is in"}};
    }
  }
  return named.paths();
}

service::IndexOptions IndexOptionsFrom(const WatchCommandOptions& options) {
  service::IndexOptions index;
  index.build = service::SourceBuildOptionsFrom(vexaplatform::CurrentSettings()->service);
  index.build.sizes = options.sizes;
  index.build.dry_run = options.dry_run;
  index.jobs = options.jobs;
  return index;
}

ExitCode RunWatch(const WatchCommandOptions& options) {
  const NamedPaths named(options.folders);
  const std::vector<std::string> folders = FoldersOf(named);
  if (folders.empty()) return kSourceUnreadable;
  if (options.nice) service::LowerPriority();

  service::WatchOptions watch;
  watch.quiet = std::chrono::milliseconds(static_cast<int64_t>(options.quiet * 1000));
  watch.walk.videos = options.videos;
  watch.walk.cross_file_systems = options.cross_file_systems;
  watch.look_again = std::chrono::minutes(options.look_again);
  watch.lock_directory = vexaplatform::CurrentSettings()->service.lock_dir;
  watch.dry_run = options.dry_run;
  service::WatchedSources sources(folders, watch, [](const auto& path, const auto& what) {
    PrintError(path, {what, ""});
  });
  WatchReport report(sources, options.json);
  service::RunSignals signals;
  const service::IndexOptions index = IndexOptionsFrom(options);
  service::Indexer(sources, index, signals, report).Run();
  // A run that was not told to stop has nothing left to watch.
  return sources.AtEnd() ? kSourceUnreadable : named.ExitCodeAfter(kDone);
}

}  // namespace

Run AddWatchCommand(CLI::App& app) {
  const auto options = std::make_shared<WatchCommandOptions>();
  CLI::App* command = app.add_subcommand(
      "watch", "Build for the files below folders as they appear and change, until stopped");
  command->add_option("FOLDER", options->folders, "Folders of pictures")->required();
  AddSizesOption(command, &options->sizes);
  command
      ->add_option("--quiet", options->quiet,
                   "How long a file must have been left alone before it is built for (2)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 3600.0));
  command->add_flag("--videos", options->videos, "Make the screenshots that videos lack");
  command->add_flag("--cross-file-systems", options->cross_file_systems,
                    "Watch folders on which another file system is mounted");
  command
      ->add_option("--look-again", options->look_again,
                   "How often to look through folders on network file systems; 0: never (15)")
      ->type_name("MINUTES")
      ->check(CLI::Range(0, 10080));
  command->add_option("--jobs", options->jobs, "Worker processes (1)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  command->add_flag("--nice", options->nice, "Work when nobody else wants processor or disk");
  command->add_flag("--dry-run", options->dry_run, "Only tell what would be built");
  command->add_flag("--json", options->json, "Report as JSON, a line a file");
  return [options] { return RunWatch(*options); };
}

}  // namespace vexathumb::program
