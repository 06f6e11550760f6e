// The parameters of an address: of a thumbnail, of a folder, and their percent-encoding.
#include "fuzz/harness.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"
#include "programs/vexathumb-web/thumbnail_parameters.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

void CheckEncoding(const std::string& text) {
  const auto decoded = service::PercentDecode(text);
  if (decoded) MUST_HOLD(decoded->size() <= text.size());
  const std::string encoded = service::PercentEncode(text);
  MUST_HOLD(encoded.find_first_of("/?&=+#\" <>") == std::string::npos);
  MUST_HOLD(service::PercentDecode(encoded) == text);
}

void CheckThumbnail(const std::string& text) {
  const auto request = ReadThumbnailParameters(text);
  MUST_HOLD(request.turns >= 0 && request.turns < 4);
  MUST_HOLD(request.source.empty());
  MUST_HOLD(request.box.width_ > 0 && request.box.height_ > 0);
  const bool has_label = Thumb::strThumbSizeMap_.count(request.label) == 1;
  if (!has_label) MUST_HOLD(request.box.width_ <= 4096 && request.box.height_ <= 4096);
}

void CheckFolder(const std::string& text) {
  const Query query(text, {"sort", "offset", "limit"});
  const auto offset = query.Number("offset", 0, 1000);
  MUST_HOLD(!offset || (*offset >= 0 && *offset <= 1000));
  MUST_HOLD(query.IsSet("limit") == (query.Text("limit") == "1"));
}

void AllowRefusal(void (*check)(const std::string&), const std::string& text) {
  try {
    check(text);
  } catch (const Problem& problem) {
    MUST_HOLD(problem.status() == 400);
    MUST_HOLD(!problem.detail().empty());
  }
}

}  // namespace
}  // namespace vexathumb::web

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vexathumb::web;
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckEncoding(text);
  AllowRefusal(&CheckThumbnail, text);
  AllowRefusal(&CheckFolder, text);
  return 0;
}
