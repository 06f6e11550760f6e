#ifndef VEXATHUMB_TESTS_KIT_PICTURES_PICTURE_DRAWING_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_PICTURE_DRAWING_H_

#include <string>
#include <vector>

#include "kit/pictures/fixtures.h"

namespace vexathumb::kit {

// The colours of the four quadrants, in reading order and ImageMagick's names.
struct Palette {
  const char* top_left;
  const char* top_right;
  const char* bottom_left;
  const char* bottom_right;
};
inline constexpr Palette kPicturePalette = {"red", "lime", "blue", "yellow"};
inline constexpr Palette kPreviewPalette = {"cyan", "magenta", "white", "black"};

// What ImageMagick does to an upright picture so that the EXIF orientation shows it upright again.
std::vector<std::string> StoringOptions(int orientation);

// Draws the quadrants in the upright size and writes them as stored for the orientation. `target`
// is ImageMagick's format, a colon, and the path; nothing is said about the orientation in the
// file.
void Draw(const std::string& target, const Size& size, int orientation, const Palette& palette);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_PICTURE_DRAWING_H_
