#ifndef VEXATHUMB_TESTS_KIT_PICTURES_LANDSCAPE_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_LANDSCAPE_H_

#include <array>
#include <string>

#include "kit/pictures/fixtures.h"

namespace vexathumb::kit {

using Rgb = std::array<float, 3>;  // 0 to 255

// Mountains behind a lake: enough detail to weigh as much as a photograph. The same scene always
// gives the same picture.
struct Scene {
  unsigned seed;       // the shapes of the mountains
  Rgb zenith;          // the sky's colour above
  Rgb horizon;         // the sky's colour, and that of far mountains, below
  Rgb shore;           // the nearest mountains' colour
  float sun_x;         // 0 to 1, from the left
  float sun_y;         // 0 to 1, from the top
  float grain = 9.0F;  // how much the pixels of an even surface differ, of 255
};

// Writes the scene as a PPM file.
void PaintLandscape(const std::string& path, const Size& size, const Scene& scene);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_LANDSCAPE_H_
