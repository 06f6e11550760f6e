// The conditional headers: the input's lines are method, If-Match, If-None-Match,
// If-Modified-Since, If-Unmodified-Since, If-Range and Range.
#include <sstream>
#include <string>

#include "fuzz/harness.h"
#include "platform/http/entity_tag.h"
#include "platform/http/http_date.h"
#include "platform/http/preconditions.h"

namespace vexaplatform {
namespace {

constexpr time_t kNow = 1'700'000'000;
const Validators kFile = {"\"1-2-3\"", 1'600'000'000};

HttpRequest RequestOf(const std::string& text) {
  std::istringstream lines(text);
  HttpRequest request;
  for (std::string* header :
       {&request.method, &request.if_match, &request.if_none_match, &request.if_modified_since,
        &request.if_unmodified_since, &request.if_range, &request.range}) {
    std::getline(lines, *header);
  }
  return request;
}

void CheckVerdict(const HttpRequest& request) {
  const Verdict verdict = Judge(request, kFile, kNow);
  const bool is_read = request.method == "GET" || request.method == "HEAD";
  if (!is_read) MUST_HOLD(verdict == Verdict::kProceed);
  const bool has_demand = !request.if_match.empty() || !request.if_unmodified_since.empty();
  if (verdict == Verdict::kPreconditionFailed) MUST_HOLD(has_demand);
  const bool may_be_had = !request.if_none_match.empty() || !request.if_modified_since.empty();
  if (verdict == Verdict::kNotModified) MUST_HOLD(may_be_had);
  if (IsRangeWanted(request, kFile, kNow)) MUST_HOLD(request.method == "GET");
}

void CheckTags(const std::string& tags) {
  const bool strong = IsListed(kFile.entity_tag, tags, TagComparison::kStrong);
  const bool weak = IsListed(kFile.entity_tag, tags, TagComparison::kWeak);
  MUST_HOLD(weak || !strong);
}

void CheckDate(const std::string& text) {
  const auto time = ParseHttpDate(text, kNow);
  if (!time) return;
  const std::string written = HttpDate(*time);
  // A date before the year 1000 has no such form.
  const auto again = ParseHttpDate(written, kNow);
  MUST_HOLD(!again || *again == *time);
  MUST_HOLD(again || *time < -30'000'000'000);
}

}  // namespace
}  // namespace vexaplatform

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vexaplatform;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const HttpRequest request = RequestOf(text);
  CheckVerdict(request);
  CheckTags(request.if_match);
  CheckTags(request.if_none_match);
  CheckDate(request.if_modified_since);
  CheckDate(text);
  return 0;
}
