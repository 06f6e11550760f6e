#include "service/index/indexer.h"

#include <csignal>
#include <system_error>
#include <utility>

#include "posix/process_end.h"
#include "service/base/background.h"
#include "service/build/failure_proof.h"
#include "service/index/source_work.h"
#include "service/picture/picture_renderer.h"
#include "service/store/failure_record.h"

namespace vexathumb::service {
namespace {

constexpr std::chrono::milliseconds kTick{500};
constexpr int kCrashesUntilFailure = 2;  // the first may have been somebody's kill

WorkerPool::Job JobOf(const IndexOptions& options) {
  OfferRenderer();  // to the workers, before they are forked
  SourceBuildOptions build = options.build;
  build.is_stopping = WorkerPool::IsInterrupted;
  return [build](const std::string& source) {
    SourceReport report;
    try {
      report = BuildSource(source, build);
    } catch (const std::exception& error) {
      report.source = source;
      report.state = BuildState::kPostponed;
      report.cause = {error.what(), "'vexathumb doctor' checks this machine"};
    }
    return Pack(report);
  };
}

std::optional<SourceVersion> VersionOf(const std::string& path) {
  try {
    return SourceVersion(path);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

}  // namespace

Indexer::Indexer(SourceFeed& sources, const IndexOptions& options, RunSignals& signals,
                 IndexObserver& observer)
    : sources_(sources),
      options_(options),
      signals_(signals),
      observer_(observer),
      pool_(options.jobs, JobOf(options)) {
  if (options.time_limit) deadline_ = Clock::now() + *options.time_limit;
}

bool Indexer::Run() {
  for (;;) {
    PassOnStopRequests();
    if (!IsStopping()) {
      LookAhead();
      HandOut();
    }
    if (!pool_.IsBusy() && (IsStopping() || !HasMore())) break;
    const bool waits_for_more = pool_.HasIdle() && ahead_.IsEmpty() && !sources_.AtEnd();
    const std::chrono::milliseconds at_most =
        waits_for_more && !IsStopping() ? sources_.AskAgainAfter() : kTick;
    const auto ends = pool_.Wait(at_most, signals_.waiting_mask(), OfferRenderer());
    if (ends.empty()) StartRendererIfWanted();
    for (const WorkerPool::End& end : ends) Handle(end);
    Tick();
  }
  return !HasMore();
}

bool Indexer::IsStopping() const {
  return signals_.StopRequests() > 0 || (deadline_ && Clock::now() >= *deadline_);
}

void Indexer::LookAhead() {
  while (!ahead_.IsFull()) {
    const auto item = sources_.Next();
    if (!item) return;
    if (item->kind == SourceItem::Kind::kSource) {
      ahead_.Add({item->path, item->bytes});
    } else {
      observer_.OnUnreadable(*item);
    }
  }
}

void Indexer::HandOut() {
  while (pool_.HasIdle() && !ahead_.IsEmpty()) {
    if (options_.max_load && IsLoadAbove(*options_.max_load)) return;
    QueuedSource source = ahead_.TakeLargest();
    pool_.Give(source.path);
    in_hand_.emplace(source.path, std::move(source));
  }
}

void Indexer::Handle(const WorkerPool::End& end) {
  const auto found = in_hand_.find(end.task);
  if (found == in_hand_.end()) return;
  QueuedSource source = std::move(found->second);
  in_hand_.erase(found);
  if (end.result) {
    observer_.OnReport(Unpack(*end.result));
  } else {
    HandleCrash(std::move(source), end);
  }
}

void Indexer::HandleCrash(QueuedSource source, const WorkerPool::End& end) {
  ++source.crashes;
  if (source.crashes < kCrashesUntilFailure) {
    source.version = VersionOf(source.path);
    ahead_.Add(std::move(source));
    return;
  }
  SourceReport report;
  report.source = source.path;
  report.state = BuildState::kPostponed;
  report.cause = {"the process that worked on it " + end.death, "it is tried again later"};
  if (end.signal == SIGKILL) report.cause.advice = "the machine may be short of memory";
  if (const auto obstacle = SourceObstacle(source.path)) {
    report.cause = *obstacle;
  } else if (source.version && !options_.build.dry_run) {
    RememberCrash(source, end.signal, &report);
  }
  observer_.OnReport(report);
}

void Indexer::RememberCrash(const QueuedSource& source, int signal, SourceReport* report) {
  const struct stat& tried = source.version->status();
  const std::string form = FormOf(source.path);
  if (!posix::IsOwnFault(signal) || !source.version->IsCurrent()) {
    RecordPostponement(source.path, tried, form, report->cause.text, "");
    return;
  }
  if (RecordFailure(source.path, tried, form, report->cause.text, "") != 0) return;
  report->state = BuildState::kFailed;
  report->cause.advice = "report the file to the developers";
}

// Again and again: a worker may have started the next tool after the last time.
void Indexer::PassOnStopRequests() const {
  if (signals_.StopRequests() > 1) pool_.Interrupt();
}

void Indexer::Tick() {
  std::vector<std::string> in_hand;
  for (const auto& [path, source] : in_hand_) in_hand.push_back(path);
  observer_.OnTick(in_hand, signals_.TakeQuestion());
}

}  // namespace vexathumb::service
