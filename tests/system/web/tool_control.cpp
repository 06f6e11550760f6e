#include "system/web/tool_control.h"

#include <filesystem>
#include <fstream>
#include <regex>

#include "kit/files.h"

namespace vexathumb::web_test {

std::vector<std::string> ToolControl::Environment() const {
  // A sanitizer's library wants to be the first one, but need not be.
  return {"VEXATHUMB_TOOL_CONTROL=" + folder_.path(), "LD_PRELOAD=" TOOL_DOUBLE,
          "ASAN_OPTIONS=verify_asan_link_order=0"};
}

void ToolControl::Hold() const { kit::WriteFile(folder_ / "hold", ""); }

void ToolControl::Release() const { std::filesystem::remove(folder_ / "hold"); }

void ToolControl::TakeAway() const { kit::WriteFile(folder_ / "missing", ""); }

void ToolControl::GiveBack() const { std::filesystem::remove(folder_ / "missing"); }

void ToolControl::Kill() const { kit::WriteFile(folder_ / "killed", ""); }

void ToolControl::Spare() const { std::filesystem::remove(folder_ / "killed"); }

std::vector<std::string> ToolControl::RunsWithoutTemporaryNames() const {
  static const std::regex kProcessAndTime("(_|thumb\\.)[0-9]+[_.][0-9]{9,}([_.][0-9]+)?");
  static const std::regex kRandom("(VEXATHUMBTMP_)[a-z0-5]{16}");
  std::vector<std::string> runs;
  std::ifstream ledger(folder_ / "ledger");
  for (std::string line; std::getline(ledger, line);) {
    const std::string run = std::regex_replace(line, kProcessAndTime, "$1PID_TIME");
    runs.push_back(std::regex_replace(run, kRandom, "$1RANDOM"));
  }
  return runs;
}

std::string ToolControl::EnvironmentOfLastRun() const {
  return kit::ReadFile(folder_ / "environment");
}

int ToolControl::RunsFor(const std::string& name) const {
  int count = 0;
  for (const std::string& run : RunsWithoutTemporaryNames()) {
    if (run.find(name) != std::string::npos) ++count;
  }
  return count;
}

}  // namespace vexathumb::web_test
