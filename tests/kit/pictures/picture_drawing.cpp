#include "kit/pictures/picture_drawing.h"

#include "kit/run_tool.h"

namespace vexathumb::kit {
namespace {

std::string Rectangle(int left, int top, int right, int bottom) {
  return "rectangle " + std::to_string(left) + "," + std::to_string(top) + " " +
         std::to_string(right) + "," + std::to_string(bottom);
}

}  // namespace

std::vector<std::string> StoringOptions(int orientation) {
  switch (orientation) {
    case 2:
      return {"-flop"};
    case 3:
      return {"-rotate", "180"};
    case 4:
      return {"-flip"};
    case 5:
      return {"-transpose"};
    case 6:
      return {"-rotate", "270"};
    case 7:
      return {"-transverse"};
    case 8:
      return {"-rotate", "90"};
    default:
      return {};
  }
}

void Draw(const std::string& target, const Size& size, int orientation, const Palette& palette) {
  const int right = size.width - 1;
  const int bottom = size.height - 1;
  const int middle_x = size.width / 2;
  const int middle_y = size.height / 2;
  std::vector<std::string> argv = {
      "/usr/bin/convert",
      "-size",
      std::to_string(size.width) + "x" + std::to_string(size.height),
      std::string("xc:") + palette.bottom_right,
      "-fill",
      palette.top_left,
      "-draw",
      Rectangle(0, 0, middle_x - 1, middle_y - 1),
      "-fill",
      palette.top_right,
      "-draw",
      Rectangle(middle_x, 0, right, middle_y - 1),
      "-fill",
      palette.bottom_left,
      "-draw",
      Rectangle(0, middle_y, middle_x - 1, bottom),
  };
  const std::vector<std::string> storing = StoringOptions(orientation);
  argv.insert(argv.end(), storing.begin(), storing.end());
  argv.insert(argv.end(), {"+repage", "-depth", "8", "-quality", "90", target});
  RunTool(argv);
}

}  // namespace vexathumb::kit
