#ifndef VEXATHUMB_SERVICE_INDEX_INDEXER_H_
#define VEXATHUMB_SERVICE_INDEX_INDEXER_H_

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/base/run_signals.h"
#include "service/base/worker_pool.h"
#include "service/index/lookahead.h"
#include "service/index/source_build.h"
#include "service/index/source_feed.h"

namespace vexathumb::service {

struct IndexOptions {
  SourceBuildOptions build;
  int jobs = 1;                                    // worker processes
  std::optional<double> max_load;                  // no further source is begun above it
  std::optional<std::chrono::seconds> time_limit;  // no further source is begun after it
};

// Is told what happens, in the process of the indexer.
class IndexObserver {
 public:
  virtual void OnReport(const SourceReport& report) = 0;
  // A named path or a folder that nothing can be built from.
  virtual void OnUnreadable(const SourceItem& item) = 0;
  // At least once a second. `in_hand` are the sources that are being worked on; `is_asked`:
  // somebody wants to know where the run is.
  virtual void OnTick(const std::vector<std::string>& in_hand, bool is_asked) = 0;

 protected:
  ~IndexObserver() = default;
};

// Builds for all sources of a feed, in processes of their own (worker_pool.h). A source over
// which a worker crashes twice is remembered as failed; one over which a worker was killed twice is
// postponed. Needs the same memory for any number of
// sources.
class Indexer {
 public:
  // All outlive this. Nothing else may run in the process at the time.
  Indexer(SourceFeed& sources, const IndexOptions& options, RunSignals& signals,
          IndexObserver& observer);

  // False when it was told to stop, or the time was over, before all was done.
  bool Run();

 private:
  using Clock = std::chrono::steady_clock;

  bool IsStopping() const;
  bool HasMore() const { return !sources_.AtEnd() || !ahead_.IsEmpty(); }
  void LookAhead();
  void HandOut();
  void Handle(const WorkerPool::End& end);
  void HandleCrash(QueuedSource source, const WorkerPool::End& end);
  static void RememberCrash(const QueuedSource& source, int signal, SourceReport* report);
  void PassOnStopRequests() const;
  void Tick();

  SourceFeed& sources_;
  const IndexOptions& options_;
  RunSignals& signals_;
  IndexObserver& observer_;
  WorkerPool pool_;
  Lookahead ahead_;
  std::multimap<std::string, QueuedSource> in_hand_;  // one that has changed since may come again
  std::optional<Clock::time_point> deadline_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_INDEXER_H_
