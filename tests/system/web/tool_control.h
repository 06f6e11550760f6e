#ifndef VEXATHUMB_TESTS_SYSTEM_WEB_TOOL_CONTROL_H_
#define VEXATHUMB_TESTS_SYSTEM_WEB_TOOL_CONTROL_H_

#include <string>
#include <vector>

#include "kit/temp_dir.h"

namespace vexathumb::web_test {

// Watches and steers the tools that the workers of a site run, as long as the site.
class ToolControl {
 public:
  // For SiteOptions.
  std::vector<std::string> Environment() const;

  void Hold() const;      // from now on, no tool starts
  void Release() const;   // and those that were held do
  void TakeAway() const;  // from now on, no tool can be started
  void GiveBack() const;
  void Kill() const;   // from now on, each is killed
  void Spare() const;  // no more

  // The vectors of the tools that were run, one a line, process numbers, times and what is
  // random in temporary names replaced.
  std::vector<std::string> RunsWithoutTemporaryNames() const;

  // The variables with which the last one was started, one a line.
  std::string EnvironmentOfLastRun() const;

  // How many of them name a file of this name.
  int RunsFor(const std::string& name) const;

 private:
  kit::TempDir folder_;
};

}  // namespace vexathumb::web_test

#endif  // VEXATHUMB_TESTS_SYSTEM_WEB_TOOL_CONTROL_H_
