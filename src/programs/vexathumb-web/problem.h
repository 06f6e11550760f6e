#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_

#include <chrono>
#include <stdexcept>
#include <string>

namespace vexathumb::web {

// A refusal: thrown where it is found, sent to the client as a problem document.
class Problem : public std::runtime_error {
 public:
  // A builder's place is free again after about one picture.
  static constexpr std::chrono::seconds kSoon{2};

  // `detail` is a sentence for the client, without paths of this machine; `retry_after` is told
  // with status 503.
  Problem(int status, const std::string& detail, std::chrono::seconds retry_after = kSoon)
      : std::runtime_error(detail), status_(status), retry_after_(retry_after) {}

  int status() const { return status_; }
  std::string detail() const { return what(); }
  std::chrono::seconds retry_after() const { return retry_after_; }

 private:
  int status_;
  std::chrono::seconds retry_after_;
};

// One answer for everything that cannot be had by this address, so that none tells what exists.
Problem NotFound();

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_
