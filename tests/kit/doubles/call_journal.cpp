#include "kit/doubles/call_journal.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace vexathumb::kit {
namespace {

bool IsToolRun(const Call& call) {
  return call.operation == "VLIBCExecv" || call.operation == "VLIBCExecl" ||
         call.operation == "VLIBCPopenv";
}

}  // namespace

bool operator==(const Call& left, const Call& right) {
  return std::tie(left.operation, left.path, left.arguments, left.flag) ==
         std::tie(right.operation, right.path, right.arguments, right.flag);
}

std::ostream& operator<<(std::ostream& out, const Call& call) {
  out << call.operation << "(" << call.path;
  for (const std::string& argument : call.arguments) out << ", " << argument;
  return out << "; " << call.flag << ")";
}

CallJournal& CallJournal::Get() {
  static CallJournal journal;
  return journal;
}

void CallJournal::Clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
}

void CallJournal::Add(Call call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<Call> CallJournal::All() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::vector<Call> CallJournal::Of(const std::vector<std::string>& operations) const {
  std::vector<Call> chosen;
  for (const Call& call : All()) {
    if (std::find(operations.begin(), operations.end(), call.operation) != operations.end()) {
      chosen.push_back(call);
    }
  }
  return chosen;
}

std::vector<std::vector<std::string>> CallJournal::ToolVectors() const {
  std::vector<std::vector<std::string>> vectors;
  for (const Call& call : All()) {
    if (IsToolRun(call)) vectors.push_back(call.arguments);
  }
  return vectors;
}

std::vector<std::string> CallJournal::Operations() const {
  std::vector<std::string> names;
  for (const Call& call : All()) names.push_back(call.operation);
  return names;
}

}  // namespace vexathumb::kit
