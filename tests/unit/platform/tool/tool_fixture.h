#ifndef VEXATHUMB_TESTS_UNIT_PLATFORM_TOOL_TOOL_FIXTURE_H_
#define VEXATHUMB_TESTS_UNIT_PLATFORM_TOOL_TOOL_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "unit/platform/scoped_settings.h"
#include "vexaplatform/tool_report.h"
#include "vlibc/process.h"

namespace vexaplatform {

// A folder with the fake tool under the tools' names, a source that orders it about, a destination,
// and a folder for the runner's private ones.
class ToolTest : public testing::Test {
 protected:
  ToolTest() {
    for (const char* folder : {"bin", "pictures", "results", "temporary"}) {
      std::filesystem::create_directory(folder_ / folder);
    }
    for (const char* tool : {"convert", "djpeg", "dcraw"}) {
      std::filesystem::create_symlink(FAKE_TOOL, Program(tool));
    }
    Set("");
    vexathumb::kit::TakeLog();
  }

  void Set(const std::string& settings) {
    settings_.Write("[tools]\ntemp_dir = " + (folder_ / "temporary") + "\n" + settings);
  }

  std::string Program(const std::string& tool) const { return folder_ / ("bin/" + tool); }
  std::string source() const { return folder_ / "pictures/source.jpg"; }
  std::string destination() const { return folder_ / "results/destination.jpg"; }
  std::string neighbour() const { return folder_ / "results/neighbour.jpg"; }

  void Order(const std::string& order) const { vexathumb::kit::WriteFile(source(), order); }

  // Runs convert, or the fake in its place, as the library does.
  int Convert(const std::string& order) const {
    Order(order);
    const std::string program = Program("convert");
    const std::string frame = source() + "[0]";
    const std::string target = destination();
    const char* const argv[] = {program.c_str(), "-strip", frame.c_str(), target.c_str(), nullptr};
    return VLIBCExecv(program.c_str(), argv, 1);
  }

  int Djpeg(const std::string& order) const {
    Order(order);
    const std::string program = Program("djpeg");
    const std::string path = source();
    const std::string target = destination();
    const char* const argv[] = {program.c_str(), "-bmp",       "-outfile",
                                target.c_str(),  path.c_str(), nullptr};
    return VLIBCExecv(program.c_str(), argv, 1);
  }

  FILE* OpenDcraw(const std::string& order) const {
    Order(order);
    const std::string program = Program("dcraw");
    const std::string path = source();
    const char* const argv[] = {program.c_str(), "-c", "-e", path.c_str(), nullptr};
    return VLIBCPopenv(program.c_str(), "r", argv);
  }

  bool LeftTemporaries() const { return !std::filesystem::is_empty(folder_ / "temporary"); }

  // Waits for a condition that comes true by and by.
  template <typename Condition>
  static bool Eventually(Condition condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
  }

  vexathumb::kit::TempDir folder_;
  ScopedSettings settings_{""};
};

}  // namespace vexaplatform

#endif  // VEXATHUMB_TESTS_UNIT_PLATFORM_TOOL_TOOL_FIXTURE_H_
