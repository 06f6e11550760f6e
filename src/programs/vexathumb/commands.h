#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_COMMANDS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>

#include "programs/vexathumb/exit_code.h"

namespace vexathumb::program {

// Runs a command whose options have been parsed. May throw Failure.
using Run = std::function<ExitCode()>;

// Each adds one command to the command line and gives what runs it.
Run AddGetCommand(CLI::App& app);
Run AddBuildCommand(CLI::App& app);
Run AddInfoCommand(CLI::App& app);
Run AddWatchCommand(CLI::App& app);
Run AddPlanCommand(CLI::App& app);
Run AddFarmCommand(CLI::App& app);
Run AddFailuresCommand(CLI::App& app);
Run AddCleanCommand(CLI::App& app);
Run AddStatCommand(CLI::App& app);
Run AddVerifyCommand(CLI::App& app);
Run AddDoctorCommand(CLI::App& app);
Run AddDesktopThumbnailCommand(CLI::App& app);

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_COMMANDS_H_
