#include "service/store/cleaning.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "service/picture/media_names.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;

bool IsHidden(const fs::path& path) { return path.filename().string().front() == '.'; }

// Whether there is neither a picture nor a video below the folder, or no such folder. A mount point
// may hold more than nothing: empty folders that others are mounted on, or a note.
bool IsWithoutMedia(const std::string& folder) {
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (IsHidden(entry->path())) {
      entry.disable_recursion_pending();
    } else if (MediaKindOf(entry->path().filename().string()) != MediaKind::kNone) {
      return false;
    }
  }
  return !error || error == std::errc::no_such_file_or_directory;
}

bool IsInOrBelow(const std::string& path, const std::string& folder) {
  return path == folder || folder == "/" || path.rfind(folder + "/", 0) == 0;
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
    if (const auto why = WhyRefused(folder, scope)) {
      events_.on_refused(folder, scope.orphans.size(), *why);
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

  std::optional<Cause> WhyRefused(const std::string& folder, const Scope& scope) const {
    if (scope.has_source || scope.orphans.empty() || IsToldToBeGone(folder)) return std::nullopt;
    const bool may_be_mount_point = folder == named_ || IsShare(folder);
    if (may_be_mount_point && !scope.orphans.front().beside && IsWithoutMedia(folder)) {
      return Cause{"no picture is left there", "is it mounted? --gone with its name removes them"};
    }
    if (options_.force || scope.orphans.size() < kManyOrphans) return std::nullopt;
    return Cause{"all sources are gone at once", "is it mounted? --force removes them"};
  }

  bool IsToldToBeGone(const std::string& folder) const {
    return std::any_of(options_.gone.begin(), options_.gone.end(),
                       [&folder](const auto& gone) { return IsInOrBelow(folder, gone); });
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
