#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_REPORT_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_REPORT_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "programs/vexathumb/columns.h"
#include "programs/vexathumb/exit_code.h"
#include "programs/vexathumb/progress.h"
#include "programs/vexathumb/report.h"
#include "service/index/indexer.h"

namespace vexathumb::program {

enum class BuildForm { kText, kTable, kJson };

// Counts what a build does and tells it in the form that was asked for: files on standard output as
// they are done, or as a table at the end; failures and progress on standard error.
class BuildReport : public service::IndexObserver {
 public:
  // `total` gives the number of sources that there are, nothing while it is not known.
  BuildReport(BuildForm form, std::function<std::optional<size_t>()> total)
      : form_(form), total_(std::move(total)) {}

  // Sources that are not there were so when the work was planned, and are told: what holds them may
  // not be mounted here.
  void CountMissingAsLeft() { is_missing_left_ = true; }

  void OnReport(const service::SourceReport& report) override;
  void OnUnreadable(const service::SourceItem& item) override;
  void OnTick(const std::vector<std::string>& in_hand, bool is_asked) override;

  // Tells the sums. `is_complete`: nothing is left to do that was not tried.
  void Finish(bool is_complete);

  ExitCode Result(bool is_complete) const;

 private:
  static constexpr size_t kStates = 6;

  size_t& Count(service::BuildState state) { return counts_[static_cast<size_t>(state)]; }
  size_t Count(service::BuildState state) const { return counts_[static_cast<size_t>(state)]; }

  void Tell(const service::SourceReport& report);
  void TellDamage(const service::SourceReport& report) const;
  void TellFailure(const service::SourceReport& report) const;
  void AddRows(const service::SourceReport& report);
  void NoteDuration(const service::SourceReport& report);
  void TellMissing() const;
  void FinishText(bool is_complete) const;
  Json Summary(bool is_complete) const;
  double Seconds() const;

  const BuildForm form_;
  const std::function<std::optional<size_t>()> total_;
  Progress progress_;
  std::vector<std::vector<std::string>> rows_;  // of the table
  std::array<size_t, kStates> counts_ = {};     // of thumbnails
  size_t sources_ = 0;
  size_t missing_names_ = 0;
  bool is_missing_left_ = false;
  size_t missing_sources_ = 0;
  std::string first_missing_;
  size_t known_failures_ = 0;  // sources
  uint64_t bytes_ = 0;
  std::vector<std::pair<double, std::string>> slowest_;  // milliseconds and path, slowest first
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_REPORT_H_
