#include "service/store/cleaning.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;

// Hidden entries aside.
bool IsEmptyOrMissing(const std::string& folder) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename().string().front() != '.') return false;
  }
  return !error || error == std::errc::no_such_file_or_directory;
}

bool IsShare(const std::string& folder) {
  const auto settings = vexaplatform::CurrentSettings();
  return std::any_of(settings->shares.begin(), settings->shares.end(),
                     [&folder](const auto& share) { return share.path == folder; });
}

// Orphans are removed once a source below the same folder is seen to be there, or at the end.
class Cleaner : public StoreVisitor {
 public:
  Cleaner(std::string named, const CleaningOptions& options, const CleaningEvents& events)
      : named_(std::move(named)), options_(options), events_(events) {}

  void Enter(const std::string& /*folder*/) override { scopes_.emplace_back(); }

  void Visit(const StoreDirectory& directory) override {
    Scope& scope = scopes_.back();
    if (directory.source_gone) {
      scope.orphans.push_back(directory);
      return;
    }
    scope.has_source = true;
    const Freed freed = RemoveLeftovers(directory, options_.removal);
    if (freed.files > 0) events_.on_removed(directory, freed);
  }

  void Leave(const std::string& folder) override {
    Scope scope = std::move(scopes_.back());
    scopes_.pop_back();
    Scope* parent = scopes_.empty() ? nullptr : &scopes_.back();
    const std::string why = options_.force ? "" : WhyRefused(folder, scope);
    if (!why.empty()) {
      events_.on_refused(folder, scope.orphans.size(), why);
    } else if (scope.has_source || parent == nullptr) {
      for (const StoreDirectory& orphan : scope.orphans) Remove(orphan);
    } else {
      std::move(scope.orphans.begin(), scope.orphans.end(), std::back_inserter(parent->orphans));
    }
    if (parent != nullptr) parent->has_source = parent->has_source || scope.has_source;
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    events_.on_unreadable(folder, cause);
  }

 private:
  struct Scope {
    bool has_source = false;  // of any store in it
    std::vector<StoreDirectory> orphans;
  };

  std::string WhyRefused(const std::string& folder, const Scope& scope) const {
    if (scope.has_source || scope.orphans.empty()) return "";
    const bool may_be_mount_point = folder == named_ || IsShare(folder);
    if (may_be_mount_point && !scope.orphans.front().beside && IsEmptyOrMissing(folder)) {
      return "the folder is empty";
    }
    return scope.orphans.size() >= kManyOrphans ? "all sources are gone at once" : "";
  }

  void Remove(const StoreDirectory& orphan) {
    const Freed freed = RemoveOrphan(orphan, options_.removal);
    if (freed.files > 0 || freed.directories > 0 || freed.kept_foreign) {
      events_.on_removed(orphan, freed);
    }
  }

  std::string named_;
  const CleaningOptions& options_;
  const CleaningEvents& events_;
  std::vector<Scope> scopes_;
};

}  // namespace

void Clean(const std::string& path, const CleaningOptions& options, const CleaningEvents& events) {
  Cleaner cleaner(path, options, events);
  WalkStores(path, cleaner);
}

}  // namespace vexathumb::service
