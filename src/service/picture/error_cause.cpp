#include "service/picture/error_cause.h"

#include <stdexcept>

#include "common/error/error.h"

namespace vexathumb::service {

Cause CauseOf(const std::exception& error) {
  if (const auto* own = dynamic_cast<const Error*>(&error)) {
    switch (own->Code()) {
      case Error::kNoExifMeta:
        return {"its content is no picture of a known type", "check the file in a viewer"};
      case Error::kFileNotFound:
        return {"cannot be opened", "check that it is there and readable"};
      default:
        return {"its metadata cannot be read: " + own->msg_, "the file is likely damaged"};
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
    return {"its metadata are damaged", "the file is likely damaged"};
  }
  return {error.what(), ""};
}

}  // namespace vexathumb::service
