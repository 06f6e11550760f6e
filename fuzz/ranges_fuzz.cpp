// A Range header, for files of several sizes.
#include <string>

#include "fuzz/harness.h"
#include "platform/http/byte_ranges.h"

namespace vexaplatform {
namespace {

bool AreApart(const ByteRange& one, const ByteRange& other) {
  return one.offset + one.length < other.offset || other.offset + other.length < one.offset;
}

void CheckRanges(const std::string& header, off_t size) {
  const RangeSelection selection = SelectRanges(header, size);
  MUST_HOLD(selection.parts.empty() == (selection.kind != RangeSelection::Kind::kParts));
  MUST_HOLD(selection.parts.size() <= 32);
  for (size_t i = 0; i < selection.parts.size(); ++i) {
    const ByteRange& part = selection.parts[i];
    MUST_HOLD(part.offset >= 0 && part.length > 0);
    MUST_HOLD(part.offset < size && part.length <= size - part.offset);
    for (size_t j = 0; j < i; ++j) MUST_HOLD(AreApart(part, selection.parts[j]));
  }
}

}  // namespace
}  // namespace vexaplatform

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string header(reinterpret_cast<const char*>(data), size);
  constexpr off_t kLargest = INT64_MAX;
  for (const off_t file_size : {off_t{0}, off_t{1}, off_t{1000}, kLargest}) {
    vexaplatform::CheckRanges(header, file_size);
  }
  return 0;
}
