#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_

#include <stdexcept>
#include <string>

namespace vexathumb::web {

// A refusal: thrown where it is found, sent to the client as a problem document.
class Problem : public std::runtime_error {
 public:
  // `detail` is a sentence for the client, without paths of this machine.
  Problem(int status, const std::string& detail) : std::runtime_error(detail), status_(status) {}

  int status() const { return status_; }
  std::string detail() const { return what(); }

 private:
  int status_;
};

// One answer for everything that cannot be had by this address, so that none tells what exists.
Problem NotFound();

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PROBLEM_H_
