#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_WORK_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_WORK_H_

#include <optional>
#include <string>
#include <vector>

#include "service/build/thumbnail.h"
#include "service/index/source_build.h"
#include "service/picture/inspection.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// The form under which it is remembered what keeps a source's thumbnails from being made.
std::string FormOf(const std::string& source);

// The course that bringing a source up to date takes, of whatever kind it is: ask the failure
// record, look what is current, wait for the source's lock and a slot, look again, make what is
// due.
class SourceWork {
 public:
  SourceWork(const std::string& source, const SourceBuildOptions& options);
  virtual ~SourceWork() = default;
  SourceWork(const SourceWork&) = delete;
  SourceWork& operator=(const SourceWork&) = delete;

  SourceReport Run();

 protected:
  // The sizes of this kind, by the names that the report gives them.
  virtual std::vector<std::string> Labels() const = 0;

  // Fills in where the thumbnail of a size lies, and whether it is current; what is not is due.
  virtual void ExamineSize(BuiltSize* size) const = 0;

  // Makes what ExamineSize has found due, one size of each file, and calls one of the operations
  // below for each.
  virtual void MakeDue(const std::vector<BuiltSize>& due, BackgroundSlot* slot) = 0;

  const std::string& source() const { return source_; }
  const SourceBuildOptions& options() const { return options_; }
  const SourceVersion& version() const { return *version_; }
  const InspectedSource& inspected() const { return *inspected_; }

  void NoteDamage() { report_.is_damaged = true; }

  // Two sizes may be one file, which is built once.
  void CountAsBuilt(const std::string& stored, double milliseconds);
  void CountAsCurrent(const std::string& stored);

  // Whatever is still due ends for that reason.
  void EndWithout(const Thumbnail& thumbnail);
  void EndWith(BuildState state, const Cause& cause);

 private:
  void Work();
  bool EndKnownFailure();
  enum class Reading { kOfStoreOrSource, kOfSource };
  bool Examine(Reading reading);
  bool Inspect(Reading reading);
  std::vector<BuiltSize> Due() const;
  void EndInspection(const Thumbnail& none);
  void EndFailed(const std::string& form, const Thumbnail& none);
  BuildState OverallState() const;

  const std::string source_;
  const SourceBuildOptions& options_;
  SourceReport report_;
  std::optional<SourceVersion> version_;
  std::optional<InspectedSource> inspected_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_WORK_H_
