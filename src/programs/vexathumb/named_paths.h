#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_NAMED_PATHS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_NAMED_PATHS_H_

#include <string>
#include <vector>

#include "programs/vexathumb/exit_code.h"

namespace vexathumb::program {

// The files and folders that a command that looks after the store is to work on.
class NamedPaths {
 public:
  // Tells of each name that there is no such file for. Throws Failure for a path in the store root,
  // where no sources are.
  explicit NamedPaths(const std::vector<std::string>& names);

  // Absolute, each once, none of them below another.
  const std::vector<std::string>& paths() const { return paths_; }

  // Tells of a folder that could not be read.
  void Unreadable(const std::string& folder, const std::string& cause);

  // That of the command: `done`, unless something was missing or could not be read.
  ExitCode ExitCodeAfter(ExitCode done) const;

 private:
  std::vector<std::string> paths_;
  bool some_missing_ = false;
  bool some_unreadable_ = false;
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_NAMED_PATHS_H_
