#ifndef VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_
#define VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_

#include <sys/stat.h>

#include <optional>
#include <string>

namespace vexathumb::service {

// Why no thumbnail could be made of a source.
struct BuildFailure {
  std::string reason;  // one line for a user, without paths
  std::string tool;    // the program that failed last; empty when none was run
  int attempts = 0;
};

// Remembers sources that could not be converted, in a file of their store directory, so that they
// are not tried again: the same bytes would fail the same way. A source with another modification
// time or size is a new one, and so is one that another release of this program failed on.

// What is remembered of the source as it is now.
std::optional<BuildFailure> RecordedFailure(const std::string& source);

// Remembers a failure, counting the attempts at the same bytes. `tried` is the source's status from
// before the attempt: one that has changed in the meantime has not been tried as it is now. A store
// that cannot be written remembers nothing.
void RecordFailure(const std::string& source, const struct stat& tried, const std::string& reason,
                   const std::string& tool);

// Forgets it, so that the source is tried again.
void RemoveFailureRecord(const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_
