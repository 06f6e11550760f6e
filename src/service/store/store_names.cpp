#include "service/store/store_names.h"

#include <algorithm>
#include <array>
#include <map>
#include <regex>

#include "common/util/util.h"
#include "service/base/atomic_file.h"

namespace vexathumb::service {
namespace {

constexpr auto kSyntax = std::regex::ECMAScript | std::regex::optimize;

struct Pattern {
  std::regex name;  // with the size, if there is one, as its first group
  StoreOwner owner;
  bool is_whole = true;  // not only how its names begin
};

const std::array<Pattern, 6>& Patterns() {
  static const std::array<Pattern, 6> patterns = {{
      {std::regex("VEXAPHOTO[_:]THUMB_([A-Z]+|[0-9]+x[0-9]+)\\.(?:jpg|png|gif)", kSyntax),
       StoreOwner::kPhotoAlbum},
      {std::regex("VEXAFILE_THUMB_([A-Z]+|[0-9]+x[0-9]+)(?:_r-?[123])?\\.(?:jpg|png|gif)", kSyntax),
       StoreOwner::kFileManager},
      {std::regex("VEXAVIDEO_VIDEO_SCREENSHOT\\.jpg()", kSyntax), StoreOwner::kVideo},
      {std::regex("VEXAAVATAR_[0-9]+x[0-9]+(?:_r-?[123])?\\.(?:jpg|png|gif)()", kSyntax),
       StoreOwner::kAvatar},
      {std::regex("VEXAPHOTO[_:].*()", kSyntax), StoreOwner::kPhotoAlbum, false},
      {std::regex("VEXAVIDEO_.*()", kSyntax), StoreOwner::kVideo, false},
  }};
  return patterns;
}

// Of a temporary that is named by process and second. Times have had ten digits since 2001, and a
// date in a photograph's name has not.
constexpr char kProcessAndTime[] = "_[0-9]{1,10}_[0-9]{10}";
constexpr char kTurnAndType[] = "(?:_r-?[123])?\\.(?:jpg|png|gif)";
constexpr char kSide[] = "[0-9]+x[0-9]+";

// Temporaries of ours, with what is random in them, and others. What follows may be a source's
// name, which may have line breaks.
std::regex OursOr(const std::string& others) {
  return std::regex(
      std::string(kTemporaryPrefix) + "(?:[a-z0-5]{16}|[0-9]+_[0-9]{10}_[0-9]+)_[^]*|" + others,
      kSyntax);
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

bool IsStoreTemporary(const std::string& name) {
  // The library's: a result, what the JPEG decoder makes for its second step, and a preview, which
  // may be decoded so itself; a preview of a thumbnail's own name is of former versions. And what a
  // copy of the platform is written to.
  static const std::regex pattern =
      OursOr(std::string("VEXAFILETMP_THUMB") + kTurnAndType + "(?:" + kProcessAndTime +
             ")?(?:_[0-9]{10})?|VEXA(?:FILE_THUMB|PHOTO[_:]THUMB|AVATAR)_(?:[A-Z]+|" + kSide + ")" +
             kTurnAndType + kProcessAndTime + "|\\.vexacopy\\.[A-Za-z0-9]{6}");
  return std::regex_match(name, pattern);
}

bool IsDerived(const std::string& name) {
  const auto matches = [&name](const Pattern& pattern) {
    return pattern.is_whole && std::regex_match(name, pattern.name);
  };
  return name == kFailureEntryName || IsStoreTemporary(name) ||
         std::any_of(Patterns().begin(), Patterns().end(), matches);
}

bool IsFreeBox(const std::string& name) {
  const StoreEntryKind kind = ClassifyStoreEntry(name);
  return kind.owner == StoreOwner::kAvatar ||
         (kind.owner == StoreOwner::kFileManager && kind.size == "free");
}

bool IsTmpName(const std::string& name) {
  // Process, time, a random number, and the extension that Exiv2 gives a preview.
  static const std::regex pattern =
      OursOr("thumb\\.[0-9]{1,10}\\.[0-9]{10}\\.[0-9]{1,10}(?:\\.(?:jpg|tif|wmf|pnm|dat))?");
  return std::regex_match(name, pattern);
}

bool IsVarTmpName(const std::string& name) {
  static const std::regex pattern =
      OursOr(std::string("vexathumb_(?:VEXAFILETMP_THUMB|VEXAAVATAR_") + kSide + ")" +
             kTurnAndType + kProcessAndTime + "(?:_[0-9]{10})?|convert_thumbnail__[0-9]{10}[^]+");
  return std::regex_match(name, pattern);
}

}  // namespace vexathumb::service
