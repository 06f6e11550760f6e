#include "programs/vexathumb/build_report.h"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "programs/vexathumb/quantity.h"

namespace vexathumb::program {
namespace {

using service::BuildState;
using service::BuiltSize;
using service::SourceReport;

constexpr size_t kSlowestShown = 5;

Json Milliseconds(double milliseconds) { return std::round(milliseconds * 1000) / 1000; }

Json ToJson(const BuiltSize& size) {
  Answer answer;
  answer.size = size.size;
  answer.from = size.from;
  answer.output = size.output;
  answer.picture = size.picture;
  answer.milliseconds = size.milliseconds;
  Json entry = ToJson(answer);
  for (const char* of_the_file : {"file", "mime", "damaged", "error"}) entry.erase(of_the_file);
  entry["state"] = NameOf(size.state);
  return entry;
}

Json ToJson(const SourceReport& report) {
  Json thumbnails = Json::array();
  for (const BuiltSize& size : report.sizes) thumbnails.push_back(ToJson(size));
  return {{"file", report.source},
          {"state", NameOf(report.state)},
          {"error", TextOrNull(report.cause.text)},
          {"known", report.is_known_failure},
          {"damaged", report.is_damaged},
          {"bytes", report.bytes},
          {"ms", Milliseconds(report.milliseconds)},
          {"thumbnails", thumbnails}};
}

void PrintLine(const Json& object) {
  PrintJson(object);
  std::cout.flush();
}

std::string LabelsOf(const SourceReport& report, BuildState state) {
  std::string labels;
  for (const BuiltSize& size : report.sizes) {
    if (size.state == state) labels += (labels.empty() ? "" : ", ") + size.size;
  }
  return labels;
}

}  // namespace

void BuildReport::OnReport(const SourceReport& report) {
  ++sources_;
  for (const BuiltSize& size : report.sizes) ++Count(size.state);
  // Of a source over which its process died nothing else is known.
  if (report.sizes.empty() && report.state != BuildState::kCurrent) ++Count(report.state);
  if (report.is_known_failure) ++known_failures_;
  if (report.state == BuildState::kGone && missing_sources_++ == 0) first_missing_ = report.source;
  bytes_ += report.bytes;
  if (report.bytes > 0) NoteDuration(report);
  Tell(report);
}

void BuildReport::Tell(const SourceReport& report) {
  // What is only postponed is told each time, as the reason of the exit code.
  const bool is_news = !report.cause.text.empty() &&
                       (!report.is_known_failure || report.state == BuildState::kPostponed);
  if (is_news) TellFailure(report);
  if (report.is_damaged && report.state == BuildState::kBuilt) TellDamage(report);
  if (form_ == BuildForm::kJson) PrintLine(ToJson(report));
  if (form_ == BuildForm::kTable) AddRows(report);
  if (form_ == BuildForm::kText && report.state == BuildState::kDue) {
    progress_.Clear();
    std::cout << ForOutput(report.source) << ": " << LabelsOf(report, BuildState::kDue) << "\n";
  }
}

void BuildReport::TellDamage(const SourceReport& report) const {
  progress_.Clear();
  PrintError(report.source, service::cause::kShownAsFarAsRead);
}

void BuildReport::TellFailure(const SourceReport& report) const {
  progress_.Clear();
  const std::string labels = LabelsOf(report, report.state);
  const std::string which = labels.empty() ? "" : " (" + labels + ")";
  PrintError(report.source, {report.cause.text + which, report.cause.advice});
}

void BuildReport::OnUnreadable(const service::SourceItem& item) {
  const bool is_missing = item.kind == service::SourceItem::Kind::kMissing;
  if (is_missing && !item.is_machine_error) ++missing_names_;
  SourceReport report;
  report.source = item.path;
  report.state = item.is_machine_error ? BuildState::kPostponed : BuildState::kFailed;
  report.cause = {item.cause, item.is_machine_error ? "check its volume"
                              : is_missing          ? "name a picture or a folder that can be read"
                                                    : "give the right to read the folder"};
  ++Count(report.state);
  Tell(report);
}

void BuildReport::OnTick(const std::vector<std::string>& in_hand, bool is_asked) {
  progress_.Show(sources_, total_(), in_hand.empty() ? "" : in_hand.front());
  if (!is_asked) return;
  std::string text = progress_.Text();
  for (size_t i = 0; i < in_hand.size(); ++i) text += (i > 0 ? ", " : "; at ") + in_hand[i];
  progress_.Clear();
  PrintError("", {text, ""});
}

void BuildReport::AddRows(const SourceReport& report) {
  std::vector<BuiltSize> sizes = report.sizes;
  if (sizes.empty() && !report.cause.text.empty()) sizes.emplace_back();
  for (const BuiltSize& size : sizes) {
    const bool is_there = !size.output.empty();
    const std::string state = NameOf(size.size.empty() ? report.state : size.state);
    rows_.push_back({report.source, size.size.empty() ? "-" : size.size,
                     is_there && size.state != BuildState::kDue ? size.from : state,
                     PixelsText(size.picture), BytesText(size.picture),
                     size.size.empty() ? "-" : std::to_string(std::lround(size.milliseconds)),
                     is_there ? size.output : report.cause.text});
  }
}

void BuildReport::NoteDuration(const SourceReport& report) {
  slowest_.emplace_back(report.milliseconds, report.source);
  std::sort(slowest_.rbegin(), slowest_.rend());
  if (slowest_.size() > kSlowestShown) slowest_.pop_back();
}

void BuildReport::Finish(bool is_complete) {
  progress_.Clear();
  if (is_missing_left_ && missing_sources_ > 0) TellMissing();
  if (form_ == BuildForm::kJson) return PrintLine({{"summary", Summary(is_complete)}});
  if (form_ == BuildForm::kTable) {
    Columns table({"file", "size", "served from", "pixels", "bytes", "ms", "where it lies"});
    std::stable_sort(rows_.begin(), rows_.end(),
                     [](const auto& one, const auto& other) { return one[0] < other[0]; });
    for (const auto& row : rows_) table.Add(row);
    std::cout << table.Text();
  }
  FinishText(is_complete);
}

void BuildReport::TellMissing() const {
  const std::string others =
      missing_sources_ > 1 ? " and " + std::to_string(missing_sources_ - 1) + " more" : "";
  PrintError(first_missing_,
             {"missing" + others, "is what holds it mounted? plan again if it has been removed"});
}

void BuildReport::FinishText(bool is_complete) const {
  const bool is_idle = Count(BuildState::kBuilt) == 0 && Count(BuildState::kDue) == 0 &&
                       Count(BuildState::kFailed) == 0 && Count(BuildState::kPostponed) == 0;
  std::cout << (is_idle && is_complete ? "Nothing to do: " : "") << Count(BuildState::kBuilt)
            << " built, " << Count(BuildState::kCurrent) << " current, "
            << Count(BuildState::kFailed) << " failed";
  for (const BuildState state : {BuildState::kDue, BuildState::kPostponed, BuildState::kGone}) {
    if (Count(state) > 0) std::cout << ", " << Count(state) << " " << NameOf(state);
  }
  std::cout << "\n";
  if (known_failures_ > 0) {
    std::cout << known_failures_ << (known_failures_ == 1 ? " source has" : " sources have")
              << " failed before; --retry-failed tries again\n";
  }
  if (!is_complete) std::cout << "Stopped early; the next run goes on from here\n";
  if (bytes_ == 0) return;
  std::cout << sources_ << (sources_ == 1 ? " source, " : " sources, ") << SizeText(bytes_)
            << " written in " << DurationText(Seconds()) << "; slowest:";
  for (size_t i = 0; i < slowest_.size(); ++i) {
    std::cout << (i > 0 ? ", " : " ") << ForOutput(slowest_[i].second) << " "
              << DurationText(slowest_[i].first / 1000);
  }
  std::cout << "\n";
}

Json BuildReport::Summary(bool is_complete) const {
  Json summary = {{"sources", sources_}};
  for (size_t state = 0; state < kStates; ++state) {
    summary[NameOf(static_cast<BuildState>(state))] = counts_[state];
  }
  summary["known_failures"] = known_failures_;
  summary["bytes"] = bytes_;
  summary["seconds"] = std::round(Seconds() * 1000) / 1000;
  summary["complete"] = is_complete;
  summary["slowest"] = Json::array();
  for (const auto& [milliseconds, file] : slowest_) {
    summary["slowest"].push_back({{"file", file}, {"ms", Milliseconds(milliseconds)}});
  }
  return summary;
}

double BuildReport::Seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

ExitCode BuildReport::Result(bool is_complete) const {
  if (missing_names_ > 0) return kSourceUnreadable;
  if (!is_complete || Count(BuildState::kPostponed) > 0) return kStoppedEarly;
  if (is_missing_left_ && missing_sources_ > 0) return kStoppedEarly;
  return Count(BuildState::kFailed) > 0 ? kNoThumbnail : kDone;
}

}  // namespace vexathumb::program
