#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/machine_checks.h"
#include "programs/vexathumb/printable.h"
#include "programs/vexathumb/report.h"
#include "programs/vexathumb/safety_checks.h"
#include "service/base/source_path.h"

namespace vexathumb::program {
namespace {

struct DoctorOptions {
  std::string folder = ".";
  bool json = false;
};

const char* LevelText(Level level) {
  if (level == Level::kOk) return "ok";
  return level == Level::kWarn ? "warn" : "FAIL";
}

std::vector<Finding> AllFindings(const std::string& folder) {
  std::vector<Finding> all = CheckTools();
  for (const auto& findings :
       {CheckFormats(), CheckEngines(), CheckStore(folder), CheckSettings(),
        CheckConfinement(vexaplatform::AskConfinement()), CheckSurroundings()}) {
    all.insert(all.end(), findings.begin(), findings.end());
  }
  return all;
}

void PrintFinding(const Finding& finding) {
  const std::string level = LevelText(finding.level);
  std::string line =
      level + std::string(6 - level.size(), ' ') + finding.subject + ": " + finding.text;
  if (!finding.advice.empty()) line += "; " + finding.advice;
  std::cout << Printable(line) << "\n";
}

ExitCode RunDoctor(const DoctorOptions& options) {
  const std::vector<Finding> findings = AllFindings(service::AbsolutePath(options.folder));
  const bool is_sound = std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.level == Level::kFail;
  });
  if (options.json) {
    Json json = {{"sound", is_sound}, {"findings", Json::array()}};
    for (const Finding& finding : findings) {
      json["findings"].push_back({{"level", LevelText(finding.level)},
                                  {"subject", finding.subject},
                                  {"text", finding.text},
                                  {"advice", finding.advice}});
    }
    PrintJson(json);
  } else {
    for (const Finding& finding : findings) PrintFinding(finding);
  }
  return is_sound ? kDone : kNoThumbnail;
}

}  // namespace

Run AddDoctorCommand(CLI::App& app) {
  const auto options = std::make_shared<DoctorOptions>();
  CLI::App* command = app.add_subcommand("doctor", "Check whether this machine can do its work");
  command->add_option("FOLDER", options->folder, "Where pictures lie (the current folder)");
  command->add_flag("--json", options->json, "Report as JSON");
  return [options] { return RunDoctor(*options); };
}

}  // namespace vexathumb::program
