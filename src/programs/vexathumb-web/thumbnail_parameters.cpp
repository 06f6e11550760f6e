#include "programs/vexathumb-web/thumbnail_parameters.h"

#include <string>

#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"

namespace vexathumb::web {
namespace {

using service::kLargestSide;
using service::ThumbnailRequest;

void TakeLabel(const std::string& label, ThumbnailRequest* request) {
  const auto size = Thumb::strThumbSizeMap_.find(label);
  if (size == Thumb::strThumbSizeMap_.end()) {
    throw Problem(400, "There is no size \"" + label + "\".");
  }
  request->label = size->first;
  request->box = size->second;
}

ThumbDimension ParseBox(const std::string& text) {
  const size_t cross = text.find('x');
  const auto width = ParseNumber(text.substr(0, cross), 1, kLargestSide);
  const auto height = cross == std::string::npos
                          ? std::nullopt
                          : ParseNumber(text.substr(cross + 1), 1, kLargestSide);
  if (!width || !height) {
    throw Problem(400, "The parameter \"box\" is WIDTHxHEIGHT, each from 1 to " +
                           std::to_string(kLargestSide) + ".");
  }
  return {static_cast<uint32_t>(*width), static_cast<uint32_t>(*height)};
}

void TakeSize(const Query& query, ThumbnailRequest* request) {
  const auto size = query.Text("size");
  const auto box = query.Text("box");
  const auto side = query.Number("side", 1, kLargestSide);
  if (int{size.has_value()} + int{box.has_value()} + int{side.has_value()} != 1) {
    throw Problem(400, "Exactly one of the parameters \"size\", \"box\" and \"side\" is needed.");
  }
  if (size) TakeLabel(*size, request);
  if (box) request->box = ParseBox(*box);
  if (side) request->box = {static_cast<uint32_t>(*side), static_cast<uint32_t>(*side)};
}

// Any integer: its last two digits tell the remainder of a full circle.
int ParseTurns(const std::string& text) {
  const bool negative = text.rfind('-', 0) == 0;
  const std::string digits = text.substr(negative ? 1 : 0);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
    throw Problem(400, "The parameter \"rotate\" is a number of quarter turns.");
  }
  const int turns =
      std::stoi(digits.substr(digits.size() - std::min<size_t>(digits.size(), 2))) % 4;
  return negative ? (4 - turns) % 4 : turns;
}

void TakeStores(std::string text, ThumbnailRequest* request) {
  request->pixdeck = false;
  request->docdeck = false;
  text += ',';
  for (size_t comma = 0; (comma = text.find(',')) != std::string::npos; text.erase(0, comma + 1)) {
    const std::string name = text.substr(0, comma);
    bool* const store = name == "pixdeck"   ? &request->pixdeck
                        : name == "docdeck" ? &request->docdeck
                                            : nullptr;
    if (store == nullptr || *store) {
      throw Problem(400, "The parameter \"store\" is pixdeck, docdeck or both.");
    }
    *store = true;
  }
}

}  // namespace

ThumbnailRequest ReadThumbnailParameters(std::string_view text) {
  const Query query(
      text, {"size", "box", "side", "rotate", "avatar", "gif", "store", "only", "smaller", "any"});
  ThumbnailRequest request;
  TakeSize(query, &request);
  if (const auto turns = query.Text("rotate")) request.turns = ParseTurns(*turns);
  if (const auto stores = query.Text("store")) TakeStores(*stores, &request);
  request.avatar = query.IsSet("avatar");
  request.animated_gif = query.IsSet("gif");
  request.only_stored = query.IsSet("only");
  request.allow_smaller = query.IsSet("smaller");
  request.any_share = query.IsSet("any");
  return request;
}

}  // namespace vexathumb::web
