#include "programs/vexathumb/one_picture.h"

#include <system_error>

#include "programs/vexathumb/report.h"
#include "service/base/machine_error.h"
#include "service/base/source_path.h"

namespace vexathumb::program {
namespace {

using service::Outcome;

ExitCode ExitCodeOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kPicture:
      return kDone;
    case Outcome::kMissing:
      return kSourceUnreadable;
    case Outcome::kSourceChanged:
    case Outcome::kOverload:
    case Outcome::kPostponed:
      return kStoppedEarly;
    case Outcome::kNotStored:
    case Outcome::kUnusable:
      break;
  }
  return kNoThumbnail;
}

}  // namespace

void CheckPicture(const std::string& named, const std::string& path, const std::string& output) {
  const std::string unreadable = service::WhyUnreadable(path);
  if (!unreadable.empty() && service::MachineErrorOfReading(path) != 0) {
    throw Failure{kStoppedEarly, named, {unreadable, "check its volume"}};
  }
  if (!unreadable.empty()) {
    throw Failure{kSourceUnreadable, named, {unreadable, "name a picture that can be read"}};
  }
  if (service::IsSameFile(output, path)) {
    throw Failure{kUsage, output, {"is the source itself", "write to another file"}};
  }
}

service::Thumbnail PictureOrFailure(const std::string& named,
                                    const std::function<service::Thumbnail()>& obtain) {
  try {
    service::Thumbnail thumbnail = obtain();
    if (thumbnail.outcome == Outcome::kPicture) return thumbnail;
    throw Failure{ExitCodeOf(thumbnail.outcome), named, thumbnail.cause};
  } catch (const std::system_error& error) {
    throw Failure{kInternal,
                  error.what(),
                  {"the lock cannot be had", "set lock_dir under [service] in the settings"}};
  }
}

}  // namespace vexathumb::program
