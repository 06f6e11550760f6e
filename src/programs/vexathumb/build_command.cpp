#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/util/util.h"
#include "programs/vexathumb/columns.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/progress.h"
#include "programs/vexathumb/report.h"
#include "service/batch_build.h"
#include "service/source_path.h"
#include "service/source_walk.h"

namespace vexathumb::program {
namespace {

using service::BuildState;
using service::BuiltSize;

struct BuildOptions {
  std::vector<std::string> paths;
  std::vector<std::string> sizes = {kSmall, kMedium, kBig, kLarge, kExtraLarge};
  bool json = false;
  bool table = false;
};

const char* StateText(BuildState state) {
  if (state == BuildState::kBuilt) return "built";
  return state == BuildState::kCurrent ? "current" : "failed";
}

// Counts what happens and shows it in the form that was asked for.
class BuildReport {
 public:
  BuildReport(const BuildOptions& options, size_t files)
      : options_(options),
        bar_(files),
        table_({"file", "size", "served from", "pixels", "bytes", "ms", "where it lies"}) {}

  void Begin(const std::string& file) const { bar_.Show(done_, file); }

  void Add(const std::string& file, const std::vector<BuiltSize>& sizes) {
    ++done_;
    for (const BuiltSize& size : sizes) {
      ++counts_[static_cast<size_t>(size.state)];
      if (options_.json || options_.table) AddAnswer(file, size);
    }
    ReportFailures(file, sizes);
    if (!options_.json && !options_.table && !bar_.is_shown()) PrintLine(file, sizes);
  }

  // A named path or a folder that nothing can be built from.
  void AddUnreadable(const std::string& file, const service::Cause& cause) {
    ++counts_[static_cast<size_t>(BuildState::kFailed)];
    bar_.Clear();
    PrintError(file, cause);
    BuiltSize nothing;
    nothing.cause = cause;
    if (options_.json || options_.table) AddAnswer(file, nothing);
  }

  void Finish() const {
    bar_.Clear();
    if (options_.json) {
      PrintJson({{"thumbnails", thumbnails_},
                 {"built", Count(BuildState::kBuilt)},
                 {"current", Count(BuildState::kCurrent)},
                 {"failed", Count(BuildState::kFailed)}});
      return;
    }
    if (options_.table) std::cout << table_.Text();
    if (Count(BuildState::kBuilt) == 0 && !HasFailed()) std::cout << "Nothing to do: ";
    std::cout << Count(BuildState::kBuilt) << " built, " << Count(BuildState::kCurrent)
              << " current, " << Count(BuildState::kFailed) << " failed\n";
  }

  bool HasFailed() const { return Count(BuildState::kFailed) > 0; }

 private:
  size_t Count(BuildState state) const { return counts_[static_cast<size_t>(state)]; }

  void AddAnswer(const std::string& file, const BuiltSize& size) {
    Answer answer;
    answer.file = file;
    answer.size = size.size;
    answer.from = size.from;
    answer.output = size.output;
    answer.error = size.cause.text;
    if (!size.size.empty()) answer.milliseconds = size.milliseconds;
    if (!size.output.empty()) answer.picture = service::ReadPictureFacts(size.output);
    if (options_.json) {
      Json entry = ToJson(answer);
      entry["state"] = StateText(size.state);
      thumbnails_.push_back(entry);
      return;
    }
    const bool failed = size.state == BuildState::kFailed;
    const std::string milliseconds =
        answer.milliseconds ? std::to_string(std::lround(*answer.milliseconds)) : "-";
    table_.Add({file, size.size.empty() ? "-" : size.size, failed ? "failed" : answer.from,
                PixelsText(answer.picture), BytesText(answer.picture), milliseconds,
                failed ? size.cause.text : answer.output});
  }

  // One line for all sizes that failed for the same cause.
  void ReportFailures(const std::string& file, const std::vector<BuiltSize>& sizes) const {
    for (size_t i = 0; i < sizes.size();) {
      const BuiltSize& first = sizes[i];
      if (first.state != BuildState::kFailed) {
        ++i;
        continue;
      }
      std::string labels = first.size;
      for (++i; i < sizes.size() && sizes[i].state == BuildState::kFailed &&
                sizes[i].cause.text == first.cause.text;
           ++i) {
        labels += ", " + sizes[i].size;
      }
      bar_.Clear();
      PrintError(file, {first.cause.text + " (" + labels + ")", first.cause.advice});
    }
  }

  static void PrintLine(const std::string& file, const std::vector<BuiltSize>& sizes) {
    std::cout << ForOutput(file) << ":";
    for (size_t i = 0; i < sizes.size(); ++i) {
      std::cout << (i > 0 ? ", " : " ") << sizes[i].size << " " << StateText(sizes[i].state);
    }
    std::cout << std::endl;
  }

  const BuildOptions& options_;
  ProgressBar bar_;
  Columns table_;
  Json thumbnails_ = Json::array();
  size_t done_ = 0;
  size_t counts_[3] = {};
};

struct Sources {
  std::vector<std::string> pictures;
  std::vector<service::SourceWalk::Unreadable> missing;  // named ones
  std::vector<service::SourceWalk::Unreadable> unreadable_folders;
};

Sources Collect(const std::vector<std::string>& names) {
  Sources sources;
  std::set<std::string> seen;
  const auto add = [&](const std::string& picture) {
    // Thumbnails of videos are made by the application that plays them.
    if (!IsSupportVideo(picture) && seen.insert(picture).second) {
      sources.pictures.push_back(picture);
    }
  };
  for (const std::string& name : names) {
    const std::string path = service::AbsolutePath(name);
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
      const service::SourceWalk walk = service::WalkFolder(path);
      for (const std::string& picture : walk.pictures) add(picture);
      sources.unreadable_folders.insert(sources.unreadable_folders.end(), walk.unreadable.begin(),
                                        walk.unreadable.end());
      continue;
    }
    const std::string cause = service::WhyUnreadable(path);
    if (cause.empty()) {
      add(path);
    } else {
      sources.missing.push_back({path, cause});
    }
  }
  return sources;
}

ExitCode RunBuild(const BuildOptions& options) {
  const Sources sources = Collect(options.paths);
  BuildReport report(options, sources.pictures.size());
  for (const auto& [path, cause] : sources.missing) {
    report.AddUnreadable(path, {cause, "name a picture or a folder that can be read"});
  }
  for (const auto& [path, cause] : sources.unreadable_folders) {
    report.AddUnreadable(path, {cause, "give the right to read the folder"});
  }
  for (const std::string& picture : sources.pictures) {
    report.Begin(picture);
    report.Add(picture, service::BuildSizes(picture, options.sizes));
  }
  report.Finish();
  if (!sources.missing.empty()) return kSourceUnreadable;
  return report.HasFailed() ? kNoThumbnail : kDone;
}

}  // namespace

Run AddBuildCommand(CLI::App& app) {
  const auto options = std::make_shared<BuildOptions>();
  CLI::App* command =
      app.add_subcommand("build", "Build the stored thumbnails of pictures and whole folders");
  command->add_option("FILE|FOLDER", options->paths, "Pictures, and folders of pictures")
      ->required();
  command->add_option("--sizes", options->sizes, "Sizes to build (all)")
      ->type_name(kStoredSizes)
      ->allow_extra_args(false)
      ->delimiter(',')
      ->check(CLI::IsMember({kSmall, kMedium, kBig, kLarge, kExtraLarge}));
  CLI::Option* json = command->add_flag("--json", options->json, "Report as JSON");
  command->add_flag("--table", options->table, "Report as a table")->excludes(json);
  return [options] { return RunBuild(*options); };
}

}  // namespace vexathumb::program
