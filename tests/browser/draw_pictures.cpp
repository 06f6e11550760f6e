// draw-pictures: draws the test pictures that a JSON list on standard input asks for.
//
//   [{"path": "/tmp/a.jpg", "format": "jpeg", "width": 400, "height": 300, "orientation": 6,
//     "preview": [160, 120]}]
//
// width and height are those of the upright picture; orientation and preview may be left out.

#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "kit/pictures/fixtures.h"

namespace vexathumb {
namespace {

using nlohmann::json;

struct Wish {
  std::string path;
  kit::Size size;
  int orientation;
  std::optional<kit::Size> preview;
};

using Draw = std::function<void(const Wish& wish)>;

const std::map<std::string, Draw> kFormats = {
    {"jpeg",
     [](const Wish& wish) {
       kit::WriteJpeg(wish.path, {wish.size, wish.orientation, {}, wish.preview, {}});
     }},
    {"png",
     [](const Wish& wish) {
       kit::WritePng(wish.path, {wish.size, wish.orientation});
     }},
    {"heic",
     [](const Wish& wish) {
       kit::WriteHeic(wish.path, {wish.size, wish.orientation});
     }},
    {"gif", [](const Wish& wish) { kit::WriteAnimatedGif(wish.path, wish.size); }},
};

void Fulfil(const json& wish) {
  std::optional<kit::Size> preview;
  if (wish.contains("preview")) preview = {wish["preview"].at(0), wish["preview"].at(1)};
  kFormats.at(wish.at("format"))({wish.at("path"),
                                  {wish.at("width"), wish.at("height")},
                                  wish.value("orientation", 0),
                                  preview});
}

}  // namespace
}  // namespace vexathumb

int main() {
  try {
    for (const auto& wish : nlohmann::json::parse(std::cin)) vexathumb::Fulfil(wish);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "draw-pictures: %s\n", error.what());
    return 1;
  }
  return 0;
}
