#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_PRINTABLE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_PRINTABLE_H_

#include <string>

namespace vexathumb::program {

// The text in one line that a terminal shows and does not obey: what is not printable UTF-8 appears
// as \n, \t or \xHH. Needs a UTF-8 LC_CTYPE.
std::string Printable(const std::string& text);

// The columns that a printable text takes.
int DisplayWidth(const std::string& printable);

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_PRINTABLE_H_
