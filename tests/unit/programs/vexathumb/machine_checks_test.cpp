#include "programs/vexathumb/machine_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "unit/platform/scoped_settings.h"
#include "unit/service/machine_double.h"

namespace vexathumb::program {
namespace {

using service::MachineDouble;
using service::ToolFault;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// "FAIL format JPEG" of all that is not sound; each has an advice.
std::vector<std::string> Unsound(const std::vector<Finding>& findings) {
  std::vector<std::string> unsound;
  for (const Finding& finding : findings) {
    if (finding.level == Level::kOk) continue;
    EXPECT_THAT(finding.advice, Not(IsEmpty())) << finding.subject;
    unsound.push_back((finding.level == Level::kFail ? "FAIL " : "warn ") + finding.subject);
  }
  return unsound;
}

auto Says(const std::string& subject, const std::string& text) {
  return Contains(AllOf(Field(&Finding::subject, subject), Field(&Finding::text, HasSubstr(text))));
}

struct ToolCase {
  const char* name;
  const char* program;
  ToolFault fault;
  const char* unsound;
  const char* text;
};

void PrintTo(const ToolCase& tool, std::ostream* out) { *out << tool.name; }

class BrokenTool : public testing::TestWithParam<ToolCase> {};

TEST_P(BrokenTool, IsToldWithWhatToDo) {
  MachineDouble machine;
  machine.Break(GetParam().program, GetParam().fault);
  const std::vector<Finding> findings = CheckTools();
  EXPECT_THAT(Unsound(findings), ElementsAre(GetParam().unsound));
  EXPECT_THAT(findings, Says(std::string("/usr/bin/") + GetParam().program, GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    , BrokenTool,
    testing::Values(ToolCase{"ConvertMissing", "convert", ToolFault::kMissing,
                             "FAIL /usr/bin/convert", "missing: scales and turns pictures"},
                    ToolCase{"ConvertFailing", "convert", ToolFault::kFails,
                             "FAIL /usr/bin/convert", "does not work"},
                    ToolCase{"DjpegCrashing", "djpeg", ToolFault::kCrashes, "FAIL /usr/bin/djpeg",
                             "does not work"},
                    ToolCase{"DcrawKilled", "dcraw", ToolFault::kKilled, "FAIL /usr/bin/dcraw",
                             "does not work"},
                    // Others stand in for it.
                    ToolCase{"GifsicleMissing", "gifsicle", ToolFault::kMissing,
                             "warn /usr/bin/gifsicle", "missing: makes animations quickly"}),
    kit::CaseName());

TEST(Formats, ThatEveryInstallationReadsAreMissedMoreThanOthers) {
  MachineDouble machine;
  machine.Break("convert", ToolFault::kFails);
  EXPECT_THAT(Unsound(CheckFormats()),
              ElementsAre("FAIL format JPEG", "FAIL format PNG", "FAIL format GIF",
                          "FAIL format BMP", "FAIL format TIFF", "warn format WEBP",
                          "warn format HEIC", "warn format AVIF", "warn format JXL"));
}

TEST(Formats, OfRawFilesNeedDcraw) {
  MachineDouble machine;
  machine.Break("dcraw", ToolFault::kMissing);
  EXPECT_THAT(Unsound(CheckFormats()), Contains("warn format raw"));
}

TEST(Engines, AreTheToolsWhereTheSettingsSaySo) {
  const vexaplatform::ScopedSettings settings("[service]\nengine = tools\n");
  EXPECT_THAT(CheckEngines(), Says("renderer", "not used: engine is tools in the settings"));
}

struct LayoutCase {
  const char* name;
  const char* settings;
  const char* text;
};

void PrintTo(const LayoutCase& layout, std::ostream* out) { *out << layout.name; }

class SoundSettings : public testing::TestWithParam<LayoutCase> {};

TEST_P(SoundSettings, AreSummedUp) {
  const vexaplatform::ScopedSettings settings(GetParam().settings);
  const std::vector<Finding> findings = CheckSettings();
  EXPECT_THAT(Unsound(findings), IsEmpty());
  EXPECT_THAT(findings, Says(settings.file(), GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    , SoundSettings,
    testing::Values(
        LayoutCase{"Beside", "", "store layout beside, 0 shares"},
        LayoutCase{"Central", "[store]\nlayout = central\nroot = /srv/thumbs\n",
                   "store layout central, root /srv/thumbs, 0 shares"},
        LayoutCase{"Auto", "[store]\nlayout = auto\nroot = /srv/thumbs\n[share photo]\npath = /\n",
                   "store layout auto, root /srv/thumbs, 1 shares"}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::program
