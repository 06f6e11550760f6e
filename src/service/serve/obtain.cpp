#include "service/serve/obtain.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "service/build/engine.h"
#include "service/build/failure_proof.h"
#include "service/build/stored_facts.h"
#include "service/build/stored_thumbnail.h"
#include "service/build/thumbnail_builder.h"
#include "service/picture/inspection.h"
#include "service/picture/source_version.h"
#include "service/serve/metadata_cache.h"
#include "service/store/failure_record.h"
#include "service/store/source_mark.h"

namespace vexathumb::service {
namespace {

constexpr char kOthersBuild[] = "others build for this file, or wait to";

class Obtaining {
 public:
  Obtaining(const ThumbnailRequest& request, const ObtainOptions& options)
      : request_(request), options_(options) {}

  Thumbnail Run() {
    if (auto answer = AnswerUninspected()) return *answer;
    PrepareEngine(request_);
    if (auto answer = AnswerInspected()) return *answer;
    const std::string& directory = options_.lock_directory;
    const BuildLimits limits = LimitsNow();
    const auto ticket = BuildTicket::Take(directory, limits);
    if (!ticket) return Overload("too many thumbnails are being built");
    const Deadline deadline = EndOfPatience();
    const auto lock = SourceLock::Take(directory, request_.source, limits, deadline);
    if (!lock) return Overload(kOthersBuild);
    // Another may have built it, or failed, while this one waited.
    if (auto answer = AnswerInspected()) return *answer;
    const auto slot = BuildSlot::Take(directory, limits, deadline);
    return slot ? Build() : Overload(kOthersBuild);
  }

  std::optional<Thumbnail> RunWithoutBuilding() {
    if (auto answer = AnswerUninspected()) return answer;
    return AnswerInspected();
  }

 private:
  const ThumbInfo& info() const { return *info_; }

  bool IsFoundFile(const struct stat& status) const {
    const auto& found = request_.found;
    return !found || (found->st_dev == status.st_dev && found->st_ino == status.st_ino);
  }

  BuildLimits LimitsNow() const {
    BuildLimits limits = options_.limits;
    if (options_.count_workers) limits.workers = options_.count_workers();
    return limits;
  }

  Deadline EndOfPatience() const {
    if (!options_.patience) return std::nullopt;
    return std::chrono::steady_clock::now() + *options_.patience;
  }

  static Thumbnail Overload(const char* cause) {
    return Thumbnail::None(Outcome::kOverload, {cause, "run again later"});
  }

  // What needs no building, nor reading the source.
  std::optional<Thumbnail> AnswerUninspected() {
    if (auto stored = StoredByEarlierInspection()) return stored;
    return UninspectableByRecord();
  }

  // What needs no building.
  std::optional<Thumbnail> AnswerInspected() {
    if (auto answer = AnswerAtOnce()) return answer;
    return AnswerFromFailureRecord();
  }

  // Reads the source as it is now; the answer, if that alone gives one.
  std::optional<Thumbnail> Inspect() {
    version_.reset();
    try {
      version_.emplace(request_.source);
    } catch (const std::system_error&) {
      return WhyNotInspected(request_.source, std::nullopt,
                             {InspectionResult::kMissing, cause::kMissingSource});
    }
    if (!IsFoundFile(version_->status())) {
      return Thumbnail::None(Outcome::kMissing, cause::kMissingSource);
    }
    const InspectedSource source(request_.source, request_.animated_gif, &*version_);
    const Inspection& inspection = source.inspection();
    if (!inspection.IsUsable()) return WithoutInspection(inspection);
    if (inspection.result == InspectionResult::kRead) {
      CacheMetadata(request_.source, version_->status(), source.info());
    }
    info_ = source.info();
    ApplyWishes(request_, &*info_);
    return std::nullopt;
  }

  // What takes a process to its limits, or ends it, is not tried for every request.
  Thumbnail WithoutInspection(const Inspection& inspection) {
    Thumbnail none = WhyNotInspected(request_.source, version_, inspection);
    if (!options_.use_failure_record) return none;
    const struct stat& tried = version_->status();
    if (none.outcome == Outcome::kUnusable && inspection.result == InspectionResult::kLimited) {
      RecordFailure(request_.source, tried, kEveryForm, none.cause.text, none.tool);
    } else if (none.pauses) {
      none.retry_after =
          RecordPostponement(request_.source, tried, kEveryForm, none.cause.text, none.tool);
    }
    return none;
  }

  // What is stored most often, at the least cost.
  std::optional<Thumbnail> StoredByEarlierInspection() const {
    if (request_.label == kOriginal) return std::nullopt;
    auto source = CachedMetadata(request_);
    if (!source) source = MetadataInStore();
    const bool is_known = source && IsFoundFile(source->status);
    return is_known ? Stored(request_, source->info, source->status) : std::nullopt;
  }

  // By a thumbnail of the size that is asked for.
  std::optional<CachedSource> MetadataInStore() const {
    struct stat status = {};
    if (request_.IsFreeBox() || IsVideo(request_) || stat(request_.source.c_str(), &status) != 0) {
      return std::nullopt;
    }
    const auto facts = StoredFacts(request_.source, status, {request_.label});
    if (!facts) return std::nullopt;
    const InspectedSource source(request_.source, request_.animated_gif, *facts);
    if (!source.inspection().IsUsable()) return std::nullopt;
    CacheMetadata(request_.source, status, source.info());
    return CachedMetadata(request_);
  }

  // Everything that answers without building, by the source as it is now.
  std::optional<Thumbnail> AnswerAtOnce() {
    if (auto answer = Inspect()) return answer;
    if (request_.label == kOriginal) {
      if (info().IsWebAcceptable()) return SourceItself(request_, info());
      if (!request_.allow_smaller) {
        return Thumbnail::None(Outcome::kUnusable, cause::kUnshownOriginal);
      }
      request_.label = kExtraLarge;
      request_.box = Thumb::strThumbSizeMap_.at(kExtraLarge);
      info_->SetSize(request_.label);
      info_->SetDimension(request_.box);
    }
    if (auto stored = Stored(request_, info(), version_->status())) return stored;
    if (request_.only_stored) {
      return OrStoredSmaller(Thumbnail::None(Outcome::kNotStored, cause::kNoneStored));
    }
    if (IsVideo(request_)) {
      return OrStoredSmaller(Thumbnail::None(Outcome::kUnusable, cause::kNoScreenshot));
    }
    if (!request_.avatar && !info().IsNeedConvert()) return SourceItself(request_, info());
    return std::nullopt;
  }

  std::optional<Thumbnail> AnswerFromFailureRecord() {
    auto none = RecordedAsFailed({FormOf(request_), FormOfSize(request_)});
    if (!none) return std::nullopt;
    return OrStoredSmaller(*std::move(none));
  }

  // What has been found out about the source itself, whatever is asked for.
  std::optional<Thumbnail> UninspectableByRecord() const { return RecordedAsFailed({}); }

  std::optional<Thumbnail> RecordedAsFailed(const std::vector<std::string>& forms) const {
    if (!options_.use_failure_record) return std::nullopt;
    const auto failure = RecordedFailure(request_.source, forms);
    if (!failure) return std::nullopt;
    Thumbnail none = Thumbnail::None(Outcome::kUnusable,
                                     {failure->reason, "it is tried again when it has changed"});
    none.tool = failure->tool;
    none.is_known = true;
    if (failure->IsPostponed()) {
      none.outcome = Outcome::kPostponed;
      none.cause.advice = "it is tried again later";
      none.retry_after = std::chrono::seconds(*failure->next_try - time(nullptr));
    }
    return none;
  }

  std::optional<Thumbnail> Stored(const ThumbnailRequest& request, const ThumbInfo& info,
                                  const struct stat& source) const {
    auto stored = FindStored(request, info, source);
    // What will be compacted is about to be replaced, or deleted by the one who asked for it.
    if (stored && stored->bmp_data && options_.build.compaction) return std::nullopt;
    if (stored && request.IsOfChosenBox()) NoteFreeBoxUse(stored->path);
    return stored;
  }

  // A stored thumbnail of the largest named size below the one asked for, where that will do.
  Thumbnail OrStoredSmaller(Thumbnail none) const {
    auto label = std::find(Thumb::size_vec.begin(), Thumb::size_vec.end(), request_.label);
    if (!request_.allow_smaller || label == Thumb::size_vec.end()) return none;
    ThumbnailRequest smaller = request_;
    ThumbInfo info = *info_;
    while (++label != Thumb::size_vec.end()) {
      smaller.label = *label;
      smaller.box = Thumb::strThumbSizeMap_.at(*label);
      info.SetSize(smaller.label);
      info.SetDimension(smaller.box);
      if (auto stored = Stored(smaller, info, version_->status())) return *stored;
    }
    return none;
  }

  Thumbnail Build() {
    const auto start = std::chrono::steady_clock::now();
    Thumbnail thumbnail =
        ThumbnailBuilder(request_.source, *version_, options_.build).Build(request_, info());
    thumbnail.made_in = std::chrono::steady_clock::now() - start;
    thumbnail.made_of = info().GetMimeType();
    if (thumbnail.outcome == Outcome::kPicture) {
      Count(&thumbnail);
      if (options_.build.outside_store == OutsideStore::kAlone) return thumbnail;
      RemoveFailureRecord(request_.source, {FormOf(request_), FormOfSize(request_)});
    } else if (options_.use_failure_record) {
      Remember(&thumbnail);
    }
    const bool is_settled =
        thumbnail.outcome == Outcome::kPicture || thumbnail.outcome == Outcome::kMissing;
    return is_settled ? thumbnail : OrStoredSmaller(std::move(thumbnail));
  }

  void Count(Thumbnail* made) const {
    struct stat st = {};
    const bool counts = request_.IsOfChosenBox() && made->owner == Owner::kStore &&
                        stat(made->path.c_str(), &st) == 0;
    if (!counts || options_.free_box_store.empty()) return;
    made->free_box_bytes = FreeBoxTally(options_.lock_directory, options_.free_box_store)
                               .Add(static_cast<uint64_t>(st.st_size));
  }

  void Remember(Thumbnail* none) const {
    const struct stat& tried = version_->status();
    if (none->outcome == Outcome::kUnusable) {
      const std::string form = none->met_limit ? FormOfSize(request_) : FormOf(request_);
      RecordFailure(request_.source, tried, form, none->cause.text, none->tool);
    } else if (none->pauses) {
      none->retry_after = RecordPostponement(request_.source, tried, FormOfSize(request_),
                                             none->cause.text, none->tool);
    }
  }

  ThumbnailRequest request_;
  const ObtainOptions& options_;
  std::optional<SourceVersion> version_;  // from before the inspection
  std::optional<ThumbInfo> info_;
};

}  // namespace

ObtainOptions ObtainOptionsFrom(const vexaplatform::ServiceSettings& settings) {
  ObtainOptions options;
  options.lock_directory = settings.lock_dir;
  options.limits = BuildLimitsFrom(settings);
  options.build = BuildOptionsFrom(settings);
  return options;
}

Thumbnail ObtainThumbnail(const ThumbnailRequest& request, const ObtainOptions& options) {
  return Obtaining(request, options).Run();
}

std::optional<Thumbnail> AnswerWithoutBuilding(const ThumbnailRequest& request,
                                               const ObtainOptions& options) {
  return Obtaining(request, options).RunWithoutBuilding();
}

bool IsDamaged(const Thumbnail& thumbnail, const std::string& source) {
  struct stat status = {};
  if (thumbnail.owner != Owner::kStore || stat(source.c_str(), &status) != 0) {
    return thumbnail.is_damaged;
  }
  const auto facts = ReadMarkedFacts(thumbnail.path, status);
  return facts && facts->is_damaged;
}

}  // namespace vexathumb::service
