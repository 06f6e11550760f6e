#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <utility>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/report.h"
#include "service/picture/metadata_warnings.h"

namespace vexathumb::program {
namespace {

ExitCode RunProgram(int argc, char** argv) {
  CLI::App app("Finds or builds thumbnails of pictures.", "vexathumb");
  app.require_subcommand(1);
  const std::vector<Run> runs = {
      AddGetCommand(app),      AddBuildCommand(app),  AddInfoCommand(app),
      AddWatchCommand(app),    AddPlanCommand(app),   AddFarmCommand(app),
      AddFailuresCommand(app), AddCleanCommand(app),  AddStatCommand(app),
      AddVerifyCommand(app),   AddDoctorCommand(app), AddDesktopThumbnailCommand(app)};
  const std::vector<CLI::App*> commands = app.get_subcommands({});
  app.set_version_flag("--version", "vexathumb " VEXATHUMB_VERSION, "Show the version and exit");
  app.set_help_flag("-h,--help", "Show this help and exit");
  for (CLI::App* command : commands) {
    command->set_version_flag("--version", "vexathumb " VEXATHUMB_VERSION,
                              "Show the version and exit");
    command->set_help_flag("-h,--help", "Show this help and exit");
  }
  app.footer(
      "Exit codes: 0 done, 1 no thumbnail, 2 wrong use, 3 source missing or unreadable, "
      "4 internal error, 75 stopped early.");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error) == 0 ? kDone : kInternal;
    throw Failure{kUsage, "", {error.what(), "see vexathumb --help"}};
  }
  for (size_t i = 0; i < commands.size(); ++i) {
    if (commands[i]->parsed()) return runs[i]();
  }
  return kUsage;
}

int Main(int argc, char** argv) {
  try {
    const ExitCode code = RunProgram(argc, argv);
    std::cout.flush();
    if (std::cout) return code;
    throw Failure{kInternal, "standard output", {"cannot be written", ""}};
  } catch (const Failure& failure) {
    PrintError(failure.file, failure.cause);
    return failure.code;
  } catch (const std::exception& error) {
    PrintError("", {std::string("internal error: ") + error.what(), ""});
    return kInternal;
  }
}

}  // namespace
}  // namespace vexathumb::program

int main(int argc, char** argv) {
  // Names are shown as UTF-8 wherever they are that; nothing else depends on the locale.
  setlocale(LC_CTYPE, "C.UTF-8");
  // A reader that goes away is a failed write, so that throw-away files are still deleted.
  signal(SIGPIPE, SIG_IGN);
  vexathumb::service::MuteMetadataWarnings();
  return vexathumb::program::Main(argc, argv);
}
