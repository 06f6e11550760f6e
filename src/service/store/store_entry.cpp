#include "service/store/store_entry.h"

#include <array>
#include <map>
#include <regex>

#include "common/util/util.h"
#include "service/store/failure_record.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

struct Pattern {
  std::regex name;  // with the size, if there is one, as its first group
  StoreOwner owner;
};

const std::array<Pattern, 5>& Patterns() {
  constexpr auto kSyntax = std::regex::ECMAScript | std::regex::optimize;
  static const std::array<Pattern, 5> patterns = {{
      {std::regex("VEXAPHOTO[_:]THUMB_([A-Z]+|[0-9]+x[0-9]+)\\.(?:jpg|png|gif)", kSyntax),
       StoreOwner::kPhotoAlbum},
      {std::regex("VEXAFILE_THUMB_([A-Z]+|[0-9]+x[0-9]+)(?:_r-?[123])?\\.(?:jpg|png|gif)", kSyntax),
       StoreOwner::kFileManager},
      {std::regex("VEXAPHOTO[_:].*()", kSyntax), StoreOwner::kPhotoAlbum},
      {std::regex("VEXAVIDEO_.*()", kSyntax), StoreOwner::kVideo},
      {std::regex("VEXAAVATAR_[0-9]+x[0-9]+(?:_r-?[123])?\\.(?:jpg|png|gif)()", kSyntax),
       StoreOwner::kAvatar},
  }};
  return patterns;
}

std::string SizeOf(const std::string& suffix) {
  static const std::map<std::string, std::string> kLabels = {
      {"S", kSmall}, {"M", kMedium}, {"B", kBig}, {"XL", kExtraLarge}};
  const auto label = kLabels.find(suffix);
  if (label != kLabels.end()) return label->second;
  return suffix.find('x') == std::string::npos ? "" : "free";
}

}  // namespace

StoreEntryKind ClassifyStoreEntry(const std::string& name) {
  if (name == kFailureEntryName) return {StoreOwner::kFailure, ""};
  if (IsStoreTemporary(name)) return {StoreOwner::kTemporary, ""};
  for (const Pattern& pattern : Patterns()) {
    std::smatch match;
    if (std::regex_match(name, match, pattern.name)) return {pattern.owner, SizeOf(match[1])};
  }
  return {};
}

}  // namespace vexathumb::service
