#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_SIZES_OPTION_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_SIZES_OPTION_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace vexathumb::program {

// The option that names the sizes which are stored; `sizes` must outlive the command and keeps what
// it holds where none is named.
void AddSizesOption(CLI::App* command, std::vector<std::string>* sizes);

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_SIZES_OPTION_H_
