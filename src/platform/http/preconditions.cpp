#include "platform/http/preconditions.h"

#include <optional>

#include "platform/http/entity_tag.h"
#include "platform/http/http_date.h"

namespace vexaplatform {
namespace {

bool IsUnmodifiedSince(const std::string& date, const Validators& file, time_t now) {
  const std::optional<time_t> time = ParseHttpDate(date, now);
  return !time.has_value() || file.modified <= *time;
}

bool IsModifiedSince(const std::string& date, const Validators& file, time_t now) {
  const std::optional<time_t> time = ParseHttpDate(date, now);
  return !time.has_value() || *time > now || file.modified > *time;
}

bool IsStillWanted(const HttpRequest& request, const Validators& file, time_t now) {
  if (!request.if_match.empty()) {
    return IsListed(file.entity_tag, request.if_match, TagComparison::kStrong);
  }
  return request.if_unmodified_since.empty() ||
         IsUnmodifiedSince(request.if_unmodified_since, file, now);
}

bool IsNews(const HttpRequest& request, const Validators& file, time_t now) {
  if (!request.if_none_match.empty()) {
    return !IsListed(file.entity_tag, request.if_none_match, TagComparison::kWeak);
  }
  return request.if_modified_since.empty() || IsModifiedSince(request.if_modified_since, file, now);
}

}  // namespace

Verdict Judge(const HttpRequest& request, const Validators& file, time_t now) {
  if (request.method != "GET" && request.method != "HEAD") return Verdict::kProceed;
  if (!IsStillWanted(request, file, now)) return Verdict::kPreconditionFailed;
  return IsNews(request, file, now) ? Verdict::kProceed : Verdict::kNotModified;
}

bool IsRangeWanted(const HttpRequest& request, const Validators& file, time_t now) {
  if (request.method != "GET" || request.range.empty()) return false;
  if (request.if_range.empty()) return true;
  const std::optional<time_t> date = ParseHttpDate(request.if_range, now);
  if (date.has_value()) return *date == file.modified && *date < now;
  return request.if_range == file.entity_tag;
}

}  // namespace vexaplatform
