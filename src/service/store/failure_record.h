#ifndef VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_
#define VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_

#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace vexathumb::service {

// Why there is no thumbnail of a source, in one form: a kind of request, by a name that whoever
// records it gives.
struct BuildFailure {
  std::string form;
  std::string reason;  // one line for a user, without paths
  std::string tool;    // the program that it is about; empty when it is about none
  int attempts = 0;
  std::optional<time_t> next_try;  // of what is only postponed; without one it has failed

  bool IsPostponed() const { return next_try.has_value(); }
};

// The form that stands for all others.
constexpr char kEveryForm[] = "every";

// Remembers sources that could not be converted, in a file of their store directory, so that they
// are not tried again: the same bytes would fail the same way. A source with another modification
// time or size is a new one, and so is one that another release of this program failed on, or this
// one under lower limits of its tools or another policy of ImageMagick. What has only been
// postponed is tried again after a minute at first, and then after twice as long each time, up to a
// day.
//
// Whoever writes holds the source's lock, or else may lose what another one writes at that moment.

// What keeps the source, as it is now, from being tried in one of these forms: a failure, or a
// postponement whose time has not come.
std::optional<BuildFailure> RecordedFailure(const std::string& source,
                                            const std::vector<std::string>& forms);

// All that is remembered of the source as it is now, in the order of the forms' names.
std::vector<BuildFailure> RecordedFailures(const std::string& source);

// Remembers a failure, counting the attempts at the same bytes. `tried` is the source's status from
// before the attempt: one that has changed in the meantime has not been tried as it is now. A store
// that cannot be written remembers nothing: errno then, 0 when it is done.
int RecordFailure(const std::string& source, const struct stat& tried, const std::string& form,
                  const std::string& reason, const std::string& tool);

// The same for what is to be tried again. Returns after how long.
std::chrono::seconds RecordPostponement(const std::string& source, const struct stat& tried,
                                        const std::string& form, const std::string& reason,
                                        const std::string& tool);

// Forgets forms that have been built, and what was said of every form.
void RemoveFailureRecord(const std::string& source, const std::vector<std::string>& forms);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_FAILURE_RECORD_H_
