#include "service/picture/source_facts.h"

#include <sstream>

namespace vexathumb {
namespace {

constexpr char kDamaged[] = " damaged";

}  // namespace

SourceFacts SourceFacts::Of(const ThumbInfo& info) {
  SourceFacts facts;
  facts.mime = info.mime_;
  facts.width = info.width_;
  facts.height = info.height_;
  facts.rotate = info.rotate_;
  facts.flop = info.flop_;
  return facts;
}

std::string SourceFacts::Text() const {
  return mime + " " + std::to_string(width) + " " + std::to_string(height) + " " +
         std::to_string(rotate) + (flop ? " 1" : " 0") + (is_damaged ? kDamaged : "");
}

std::optional<SourceFacts> SourceFacts::Parse(const std::string& text) {
  std::istringstream words(text);
  SourceFacts facts;
  int flop = -1;
  words >> facts.mime >> facts.width >> facts.height >> facts.rotate >> flop;
  bool is_whole = !words.fail();
  std::string rest;
  std::getline(words, rest);
  facts.is_damaged = rest == kDamaged;
  is_whole = is_whole && (rest.empty() || facts.is_damaged);
  if (!is_whole || facts.rotate < 0 || facts.rotate > 3 || flop < 0 || flop > 1) {
    return std::nullopt;
  }
  facts.flop = flop == 1;
  return facts;
}

void SourceFacts::ApplyTo(ThumbInfo* info) const {
  info->mime_ = mime;
  info->width_ = width;
  info->height_ = height;
  info->rotate_ = rotate;
  info->flop_ = flop;
  info->is_good_ = true;
}

const std::string& SourceFacts::PathOf(const ThumbInfo& info) { return info.path_; }

const struct stat& SourceFacts::StatusOf(const ThumbInfo& info) { return info.st_; }

void SourceFacts::SetStatus(ThumbInfo* info, const struct stat& status) { info->st_ = status; }

void SourceFacts::SetPreview(ThumbInfo* info, const std::string& path) {
  info->exif_preview_path_ = path;
}

}  // namespace vexathumb
