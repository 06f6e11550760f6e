#include "service/index/source_report.h"

#include <nlohmann/json.hpp>
#include <optional>

namespace vexathumb::service {
namespace {

using nlohmann::json;

template <typename Number>
json Optional(const std::optional<Number>& number) {
  return number ? json(*number) : json();
}

template <typename Number>
std::optional<Number> NumberIn(const json& value) {
  return value.is_null() ? std::nullopt : std::optional<Number>(value.get<Number>());
}

json Listed(const BuiltSize& size) {
  return {size.size,
          static_cast<int>(size.state),
          size.from,
          size.output,
          size.milliseconds,
          Optional(size.picture.width),
          Optional(size.picture.height),
          Optional(size.picture.bytes)};
}

BuiltSize SizeFrom(const json& list) {
  BuiltSize size;
  size.size = list.at(0);
  size.state = static_cast<BuildState>(list.at(1).get<int>());
  size.from = list.at(2);
  size.output = list.at(3);
  size.milliseconds = list.at(4);
  size.picture.width = NumberIn<uint32_t>(list.at(5));
  size.picture.height = NumberIn<uint32_t>(list.at(6));
  size.picture.bytes = NumberIn<uint64_t>(list.at(7));
  return size;
}

}  // namespace

const char* NameOf(BuildState state) {
  switch (state) {
    case BuildState::kBuilt:
      return "built";
    case BuildState::kCurrent:
      return "current";
    case BuildState::kDue:
      return "due";
    case BuildState::kFailed:
      return "failed";
    case BuildState::kPostponed:
      return "postponed";
    case BuildState::kGone:
      break;
  }
  return "gone";
}

// CBOR takes the bytes of names as they are, UTF-8 or not.
std::string Pack(const SourceReport& report) {
  json sizes = json::array();
  for (const BuiltSize& size : report.sizes) sizes.push_back(Listed(size));
  const json list = {
      report.source,       static_cast<int>(report.state), sizes,        report.cause.text,
      report.cause.advice, report.is_known_failure,        report.bytes, report.milliseconds,
      report.is_damaged};
  std::string bytes;
  json::to_cbor(list, bytes);
  return bytes;
}

SourceReport Unpack(const std::string& bytes) {
  const json list = json::from_cbor(bytes);
  SourceReport report;
  report.source = list.at(0);
  report.state = static_cast<BuildState>(list.at(1).get<int>());
  for (const json& size : list.at(2)) report.sizes.push_back(SizeFrom(size));
  report.cause = {list.at(3), list.at(4)};
  report.is_known_failure = list.at(5);
  report.bytes = list.at(6);
  report.milliseconds = list.at(7);
  report.is_damaged = list.at(8);
  return report;
}

}  // namespace vexathumb::service
