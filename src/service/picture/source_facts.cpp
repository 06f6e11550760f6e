#include "service/picture/source_facts.h"

#include <sstream>

namespace vexathumb {

SourceFacts SourceFacts::Of(const ThumbInfo& info) {
  return {info.mime_, info.width_, info.height_, info.rotate_, info.flop_};
}

std::string SourceFacts::Text() const {
  return mime + " " + std::to_string(width) + " " + std::to_string(height) + " " +
         std::to_string(rotate) + (flop ? " 1" : " 0");
}

std::optional<SourceFacts> SourceFacts::Parse(const std::string& text) {
  std::istringstream words(text);
  SourceFacts facts;
  int flop = -1;
  words >> facts.mime >> facts.width >> facts.height >> facts.rotate >> flop;
  const bool is_whole = !words.fail() && words.eof();
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
