#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/quantity.h"
#include "programs/vexathumb/report.h"
#include "service/base/source_path.h"
#include "service/store/cleaning.h"
#include "service/store/free_boxes.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

struct CleanOptions {
  std::vector<std::string> names;
  bool dry_run = false;
  bool force = false;
  std::vector<std::string> gone;
  bool json = false;
};

class CleanReport {
 public:
  explicit CleanReport(const CleanOptions& options) : options_(options) {}

  void Removed(const service::StoreDirectory& directory, const service::Freed& freed) {
    freed_ += freed;
    if (freed.kept_foreign) ++kept_foreign_;
    if (options_.json) {
      PrintJson({{"store", directory.path()},
                 {"source", directory.source},
                 {"source_gone", directory.source_gone},
                 {"files", freed.files},
                 {"bytes", freed.bytes},
                 {"kept_foreign", freed.kept_foreign}});
      return;
    }
    std::cout << (options_.dry_run ? "would remove " : "removed ")
              << (directory.source_gone ? "" : "leftovers in ") << ForOutput(directory.path())
              << ": " << Counted(freed.files, "file", "files") << ", " << SizeText(freed.bytes)
              << (freed.kept_foreign ? "; other programs' files stay" : "") << "\n";
  }

  void Refused(const std::string& folder, uint64_t orphans, const service::Cause& why) {
    refused_ += orphans;
    std::cout.flush();
    PrintError(folder,
               {why.text + ", " + Counted(orphans, "store directory is", "store directories are") +
                    " left alone",
                why.advice});
  }

  void Evicted(const std::string& folder, const service::FreeBoxSum& removed) {
    if (removed.files == 0) return;
    freed_.files += removed.files;
    freed_.bytes += removed.bytes;
    if (options_.json) {
      PrintJson({{"folder", folder},
                 {"free_boxes", {{"files", removed.files}, {"bytes", removed.bytes}}}});
      return;
    }
    std::cout << (options_.dry_run ? "would remove " : "removed ")
              << "free boxes used longest ago in " << ForOutput(folder) << ": "
              << Counted(removed.files, "file", "files") << ", " << SizeText(removed.bytes) << "\n";
  }

  ExitCode Finish() const {
    if (options_.json) {
      PrintJson({{"dry_run", options_.dry_run},
                 {"directories", freed_.directories},
                 {"files", freed_.files},
                 {"bytes", freed_.bytes},
                 {"kept_foreign", kept_foreign_},
                 {"refused", refused_}});
    } else if (freed_.files == 0 && freed_.directories == 0) {
      std::cout << "Nothing to clean\n";
    } else {
      std::cout << (options_.dry_run ? "Would free " : "Freed ") << SizeText(freed_.bytes) << ": "
                << Counted(freed_.directories, "store directory", "store directories") << ", "
                << Counted(freed_.files, "file", "files") << "\n";
    }
    return refused_ > 0 ? kNoThumbnail : kDone;
  }

 private:
  const CleanOptions& options_;
  service::Freed freed_;
  uint64_t kept_foreign_ = 0;
  uint64_t refused_ = 0;
};

ExitCode RunClean(const CleanOptions& options) {
  std::vector<std::string> names = options.names;
  names.insert(names.end(), options.gone.begin(), options.gone.end());
  NamedPaths named(names);
  CleanReport report(options);
  service::CleaningOptions cleaning;
  cleaning.removal.lock_directory = vexaplatform::CurrentSettings()->service.lock_dir;
  cleaning.removal.dry_run = options.dry_run;
  cleaning.force = options.force;
  for (const std::string& folder : options.gone) {
    cleaning.gone.push_back(service::AbsolutePath(folder));
  }
  service::CleaningEvents events;
  events.on_removed = [&](const auto& directory, const auto& freed) {
    report.Removed(directory, freed);
  };
  events.on_refused = [&](const auto& folder, uint64_t orphans, const auto& why) {
    report.Refused(folder, orphans, why);
  };
  events.on_unreadable = [&](const auto& folder, const auto& cause) {
    named.Unreadable(folder, cause);
  };
  const auto limits = service::FreeBoxLimitsFrom(vexaplatform::CurrentSettings()->service);
  for (const std::string& path : named.paths()) {
    service::Clean(path, cleaning, events);
    // What cannot be read has been told already.
    const auto eviction =
        service::EvictFreeBoxesBelow(path, limits, options.dry_run, [](auto&, auto&) {});
    report.Evicted(path, eviction.removed);
  }
  return named.ExitCodeAfter(report.Finish());
}

}  // namespace

Run AddCleanCommand(CLI::App& app) {
  const auto options = std::make_shared<CleanOptions>();
  CLI::App* command =
      app.add_subcommand("clean", "Remove what is stored for files that are gone, and leftovers");
  command->add_option("PATH", options->names, "Files, and folders of files");
  command->add_flag("--dry-run", options->dry_run, "Only tell what would be removed");
  command->add_flag("--force", options->force,
                    "Also where very many are gone, as when a volume is not mounted");
  command
      ->add_option("--gone", options->gone,
                   "A folder whose pictures are gone for good, though it may look not mounted")
      ->type_name("FOLDER")
      ->allow_extra_args(false);
  command->add_flag("--json", options->json, "Report as JSON");
  command->callback([options] {
    if (options->names.empty() && options->gone.empty()) throw CLI::RequiredError("PATH or --gone");
  });
  return [options] { return RunClean(*options); };
}

}  // namespace vexathumb::program
