#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "common/util/util.h"
#include "programs/vexathumb/build_report.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/report.h"
#include "programs/vexathumb/sizes_option.h"
#include "service/base/background.h"
#include "service/build/build_settings.h"
#include "service/index/indexer.h"
#include "service/index/manifest.h"
#include "service/index/source_build.h"
#include "service/index/source_count.h"
#include "service/index/source_stream.h"
#include "service/store/sweeping.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

struct BuildCommandOptions {
  std::vector<std::string> paths;
  std::string files_from;
  bool null_separated = false;
  std::string manifest;
  uint64_t shard = 0;
  std::vector<std::string> path_maps;
  std::vector<std::string> sizes = {kSmall, kMedium, kBig, kLarge, kExtraLarge};
  bool videos = false;
  bool cross_file_systems = false;
  int jobs = service::Processors();
  bool retry_failed = false;
  bool dry_run = false;
  bool nice = false;
  double max_load = 0;
  int time_limit = 0;
  bool json = false;
  bool table = false;

  BuildForm form() const {
    if (json) return BuildForm::kJson;
    return table ? BuildForm::kTable : BuildForm::kText;
  }
};

std::unique_ptr<service::PathList> OpenList(const BuildCommandOptions& options) {
  if (options.files_from.empty()) return nullptr;
  const bool is_standard_input = options.files_from == "-";
  const int fd = is_standard_input ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                                   : open(options.files_from.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    throw Failure{kSourceUnreadable, options.files_from, {strerror(errno), "name a list of files"}};
  }
  return std::make_unique<service::PathList>(fd, options.null_separated ? '\0' : '\n');
}

std::vector<service::SourceItem> OpenShard(const BuildCommandOptions& options) {
  std::vector<service::PathMapping> mappings;
  for (const std::string& text : options.path_maps) {
    mappings.push_back(*service::ParsePathMapping(text));
  }
  try {
    return service::ReadShard(options.manifest, options.shard, mappings);
  } catch (const service::SourcesMissing& error) {
    throw Failure{kStoppedEarly, options.manifest, {error.what(), "is what holds them mounted?"}};
  } catch (const service::ManifestError& error) {
    throw Failure{kSourceUnreadable, options.manifest, {error.what(), ""}};
  } catch (const std::system_error& error) {
    throw Failure{kSourceUnreadable, options.manifest, {error.code().message(), "name a manifest"}};
  }
}

service::IndexOptions IndexOptionsFrom(const BuildCommandOptions& options) {
  service::IndexOptions index;
  index.build = service::SourceBuildOptionsFrom(vexaplatform::CurrentSettings()->service);
  index.build.sizes = options.sizes;
  index.build.retry_failed = options.retry_failed;
  index.build.dry_run = options.dry_run;
  index.build.with_facts = options.form() != BuildForm::kText;
  index.jobs = options.jobs;
  if (options.max_load > 0) index.max_load = options.max_load;
  if (options.time_limit > 0) index.time_limit = std::chrono::seconds(options.time_limit);
  return index;
}

ExitCode BuildShard(const BuildCommandOptions& options) {
  service::ListedSources sources(OpenShard(options));
  BuildReport report(options.form(), [&sources] { return sources.size(); });
  report.CountMissingAsLeft();
  service::RunSignals signals;
  const service::IndexOptions index = IndexOptionsFrom(options);
  const bool is_complete = service::Indexer(sources, index, signals, report).Run();
  report.Finish(is_complete);
  return report.Result(is_complete);
}

ExitCode RunBuild(const BuildCommandOptions& options) {
  if (options.nice) service::LowerPriority();
  if (!options.dry_run) service::SweepTemporaryDirectories();
  if (!options.manifest.empty()) return BuildShard(options);
  service::WalkOptions walk;
  walk.videos = options.videos;
  walk.cross_file_systems = options.cross_file_systems;
  std::unique_ptr<service::PathList> list = OpenList(options);
  const service::PathList* const opened_list = list.get();

  // How long a list is nobody knows.
  std::optional<service::SourceCount> count;
  if (opened_list == nullptr) count.emplace(options.paths, walk);
  service::SourceStream sources(options.paths, std::move(list), walk);
  BuildReport report(options.form(), [&count] { return count ? count->Total() : std::nullopt; });
  service::RunSignals signals;
  const service::IndexOptions index = IndexOptionsFrom(options);
  const bool is_complete = service::Indexer(sources, index, signals, report).Run();
  report.Finish(is_complete);
  if (opened_list != nullptr && !opened_list->error().empty()) {
    throw Failure{kSourceUnreadable, options.files_from, {opened_list->error(), ""}};
  }
  return report.Result(is_complete);
}

void AddReportOptions(CLI::App* command, BuildCommandOptions* options) {
  CLI::Option* json = command->add_flag("--json", options->json, "Report as JSON, a line a source");
  command->add_flag("--table", options->table, "Report as a table")->excludes(json);
}

void AddManifestOptions(CLI::App* command, BuildCommandOptions* options) {
  CLI::Option* manifest =
      command->add_option("--manifest", options->manifest, "Build what 'vexathumb plan' wrote")
          ->type_name("FILE")
          ->excludes("PATH")
          ->excludes("--files-from");
  CLI::Option* shard = command->add_option("--shard", options->shard, "Its shard, numbered from 1")
                           ->type_name("K")
                           ->check(CLI::PositiveNumber)
                           ->needs(manifest);
  manifest->needs(shard);
  command
      ->add_option("--path-map", options->path_maps,
                   "What the manifest has below FROM lies below TO here")
      ->type_name("FROM=TO")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](const std::string& text) {
            return service::ParsePathMapping(text) ? "" : "two absolute paths are wanted";
          },
          "", "FROM=TO"))
      ->needs(manifest);
}

void AddRestraints(CLI::App* command, BuildCommandOptions* options) {
  command->add_option("--jobs", options->jobs, "Worker processes (as many as processors)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  command->add_flag("--nice", options->nice, "Work when nobody else wants processor or disk");
  command
      ->add_option("--max-load", options->max_load,
                   "Begin no file while the machine's load is higher")
      ->type_name("LOAD")
      ->check(CLI::PositiveNumber);
  command->add_option("--time-limit", options->time_limit, "Begin no file after so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
}

}  // namespace

Run AddBuildCommand(CLI::App& app) {
  const auto options = std::make_shared<BuildCommandOptions>();
  CLI::App* command =
      app.add_subcommand("build", "Build the stored thumbnails of pictures and whole folders");
  command->add_option("PATH", options->paths, "Pictures, and folders of pictures");
  CLI::Option* list =
      command
          ->add_option("--files-from", options->files_from,
                       "A file that names further ones, a line each; - is standard input")
          ->type_name("FILE");
  command
      ->add_flag("-0,--null", options->null_separated,
                 "The names in that file end with a null byte, not with the line")
      ->needs(list);
  AddSizesOption(command, &options->sizes);
  command->add_flag("--videos", options->videos, "Make the screenshots that videos lack");
  command->add_flag("--cross-file-systems", options->cross_file_systems,
                    "Go into folders on which another file system is mounted");
  command->add_flag("--retry-failed", options->retry_failed, "Try again what has failed before");
  command->add_flag("--dry-run", options->dry_run, "Only tell what would be built");
  AddManifestOptions(command, options.get());
  AddRestraints(command, options.get());
  AddReportOptions(command, options.get());
  command->callback([options] {
    if (options->paths.empty() && options->files_from.empty() && options->manifest.empty()) {
      throw CLI::RequiredError("PATH, --files-from or --manifest");
    }
  });
  return [options] { return RunBuild(*options); };
}

}  // namespace vexathumb::program
