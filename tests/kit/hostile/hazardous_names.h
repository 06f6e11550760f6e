#ifndef VEXATHUMB_TESTS_KIT_HOSTILE_HAZARDOUS_NAMES_H_
#define VEXATHUMB_TESTS_KIT_HOSTILE_HAZARDOUS_NAMES_H_

#include <ostream>
#include <string>
#include <vector>

namespace vexathumb::kit {

// A name that somebody may take for something else: a tool for a pattern, a number's place, a
// format or an option, a shell for a command, a terminal for a control sequence.
struct HazardousName {
  std::string name;                 // of the case
  std::string text;                 // of a folder, or of a file before its extension
  std::vector<std::string> decoys;  // what it would be mistaken for, in the same form
};

void PrintTo(const HazardousName& hazard, std::ostream* out);

const std::vector<HazardousName>& HazardousNames();

// Those of these cases. Throws std::out_of_range where there is none of a name.
std::vector<HazardousName> HazardousNamesOf(const std::vector<std::string>& cases);

// A picture of one colour, which no fixture has in its corners.
inline constexpr char kDecoyCorners[] = "gray gray gray gray";
void WriteDecoy(const std::string& path);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_HOSTILE_HAZARDOUS_NAMES_H_
