#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "programs/vexathumb/build_again.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/report.h"
#include "service/index/verification.h"
#include "service/store/store_removal.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

using service::EntryFault;
using service::VerifiedEntry;

struct VerifyOptions {
  std::vector<std::string> names;
  bool decode = false;
  bool repair = false;
  bool json = false;
};

class VerifyReport {
 public:
  explicit VerifyReport(const VerifyOptions& options) : options_(options) {}

  void Verified(const VerifiedEntry& entry) {
    ++pictures_;
    if (entry.fault == EntryFault::kNone) return;
    ++faulty_;
    const bool is_removed = options_.repair && !entry.is_of_others && Remove(entry);
    if (is_removed && !entry.size.empty()) BuildLater(entry);
    if (!is_removed) ++left_;
    Tell(entry, is_removed);
  }

  // Makes again what was removed, and tells the sums.
  ExitCode Finish() {
    if (options_.json) {
      PrintJson({{"pictures", pictures_}, {"faulty", faulty_}, {"left", left_}});
    } else {
      std::cout << Counted(pictures_, "picture", "pictures") << ", " << faulty_ << " faulty";
      if (options_.repair) std::cout << ", " << left_ << " of them left as they are";
      std::cout << "\n";
    }
    const ExitCode built =
        due_.empty() ? kDone : BuildAgain(std::move(due_), Sizes(), options_.json);
    return left_ > 0 ? kNoThumbnail : built;
  }

 private:
  static bool Remove(const VerifiedEntry& entry) {
    return RemoveEntry(entry.directory, entry.name,
                       vexaplatform::CurrentSettings()->service.lock_dir);
  }

  // The entries of one source come one after the other.
  void BuildLater(const VerifiedEntry& entry) {
    sizes_.insert(entry.size);
    if (!due_.empty() && due_.back().path == entry.directory.source) return;
    service::SourceItem item;
    item.path = entry.directory.source;
    due_.push_back(item);
  }

  std::vector<std::string> Sizes() const { return {sizes_.begin(), sizes_.end()}; }

  void Tell(const VerifiedEntry& entry, bool is_removed) const {
    if (options_.json) {
      PrintJson({{"file", entry.directory.source},
                 {"stored", entry.path()},
                 {"fault", NameOf(entry.fault)},
                 {"removed", is_removed}});
      return;
    }
    std::cout << ForOutput(entry.path()) << ": " << NameOf(entry.fault);
    if (entry.is_of_others) std::cout << "; the photo album's own to make again";
    std::cout << "\n";
  }

  const VerifyOptions& options_;
  std::vector<service::SourceItem> due_;
  std::set<std::string> sizes_;
  uint64_t pictures_ = 0;
  uint64_t faulty_ = 0;
  uint64_t left_ = 0;
};

ExitCode RunVerify(const VerifyOptions& options) {
  NamedPaths named(options.names);
  VerifyReport report(options);
  service::VerifyOptions verify;
  verify.decode = options.decode;
  service::VerifyEvents events;
  events.on_verified = [&report](const auto& entry) { report.Verified(entry); };
  events.on_unreadable = [&named](const auto& folder, const auto& cause) {
    named.Unreadable(folder, cause);
  };
  for (const std::string& path : named.paths()) service::VerifyStores(path, verify, events);
  return named.ExitCodeAfter(report.Finish());
}

}  // namespace

Run AddVerifyCommand(CLI::App& app) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* command =
      app.add_subcommand("verify", "Read every stored picture, and tell which are not whole");
  command->add_option("PATH", options->names, "Files, and folders of files")->required();
  command->add_flag("--decode", options->decode,
                    "Decode each, and compare it with the file that it was made of");
  command->add_flag("--repair", options->repair, "Remove what is faulty, and build it again");
  command->add_flag("--json", options->json, "Report as JSON");
  return [options] { return RunVerify(*options); };
}

}  // namespace vexathumb::program
