#ifndef VEXAPLATFORM_HTTP_BYTE_RANGES_H_
#define VEXAPLATFORM_HTTP_BYTE_RANGES_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace vexaplatform {

struct ByteRange {
  off_t offset = 0;
  off_t length = 0;
};

struct RangeSelection {
  enum class Kind {
    kWhole,          // the header is to be ignored
    kParts,          // `parts`
    kUnsatisfiable,  // no range lies in the file
  };
  Kind kind = Kind::kWhole;
  std::vector<ByteRange> parts;  // not empty ones, in the header's order
};

// What of `size` bytes the value of a Range header selects. Ranges that overlap or touch become one
// at the place of the first. Ignored is what is malformed, in another unit, or of more than 32
// ranges, which only an attacker asks for.
RangeSelection SelectRanges(const std::string& range, off_t size);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_BYTE_RANGES_H_
