#include "service/picture/error_cause.h"

#include <stdexcept>

#include "common/error/error.h"

namespace vexathumb::service {
namespace {

const Cause kDamagedMetadata = {"its metadata are damaged", "the file is likely damaged"};

}  // namespace

namespace cause {

const Cause kMissingSource = {"there is no such file", "name a picture that can be read"};
const Cause kBeingWritten = {"it is being written", "run again later"};
const Cause kUnknownContent = {"its content is no picture of a known type",
                               "check the file in a viewer"};
const Cause kNoTool = {"no tool could make a thumbnail of it",
                       "the file is likely damaged; 'vexathumb doctor' checks the tools"};
const Cause kPathTooLong = {"its path is too long for a store", "shorten the names of its folders"};
const Cause kNoneStored = {"no thumbnail of it is stored",
                           "run 'vexathumb build' or leave out --only-stored"};
const Cause kNoScreenshot = {"a video without a stored screenshot",
                             "let the video application store one"};
const Cause kUnshownOriginal = {"browsers do not show its type", "ask for a smaller --size"};

}  // namespace cause

Cause CauseOf(const std::exception& error) {
  if (const auto* own = dynamic_cast<const Error*>(&error)) {
    switch (own->Code()) {
      case Error::kNoExifMeta:
        return cause::kUnknownContent;
      case Error::kFileNotFound:
        return {"cannot be opened", "check that it is there and readable"};
      default:
        return kDamagedMetadata;
    }
  }
  // A number in the metadata that is none, or is none that fits.
  if (dynamic_cast<const std::invalid_argument*>(&error) != nullptr ||
      dynamic_cast<const std::out_of_range*>(&error) != nullptr) {
    return {"its orientation is not a number", "correct its metadata"};
  }
  // Sums of offsets and sizes that Exiv2 refuses.
  if (dynamic_cast<const std::logic_error*>(&error) != nullptr ||
      dynamic_cast<const std::overflow_error*>(&error) != nullptr) {
    return kDamagedMetadata;
  }
  return {error.what(), ""};
}

}  // namespace vexathumb::service
