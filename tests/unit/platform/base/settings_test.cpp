#include "vexaplatform/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/base/settings_file.h"
#include "unit/platform/scoped_settings.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::TakeLog;
using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

Settings Read(const std::string& text) {
  const TempDir folder;
  WriteFile(folder / "platform.ini", text);
  return ReadSettingsFile(folder / "platform.ini");
}

void ExpectDefaults(const Settings& settings) {
  EXPECT_EQ(settings.layout, StoreLayout::kBeside);
  EXPECT_EQ(settings.root, "/var/lib/vexathumb/store");
  EXPECT_TRUE(settings.shares.empty());
}

TEST(SettingsFile, GivesTheStoreAndTheShares) {
  const Settings settings = Read(
      "; thumbnails\n[store]\nlayout = central\nroot = /srv/store/\n\n"
      "[share photo]\npath = /volume1/photo\nindexed = yes\n"
      "# a name with blanks\n[share  my music ]\n\tpath=/volume1/my music//\r\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.layout, StoreLayout::kCentral);
  EXPECT_EQ(settings.root, "/srv/store");
  ASSERT_EQ(settings.shares.size(), 2U);
  EXPECT_EQ(settings.shares[0].name, "photo");
  EXPECT_EQ(settings.shares[0].path, "/volume1/photo");
  EXPECT_TRUE(settings.shares[0].indexed);
  EXPECT_EQ(settings.shares[1].name, "my music");
  EXPECT_EQ(settings.shares[1].path, "/volume1/my music");
  EXPECT_FALSE(settings.shares[1].indexed);
}

TEST(SettingsFile, IsTheDefaultsWhenEmpty) {
  const Settings settings = Read("");
  EXPECT_EQ(settings.error, "");
  ExpectDefaults(settings);
}

TEST(SettingsFile, OfTheExampleIsSound) {
  const Settings settings = ReadSettingsFile(EXAMPLE_SETTINGS);
  EXPECT_EQ(settings.error, "");
  EXPECT_FALSE(settings.shares.empty());
}

struct Layout {
  const char* text;
  StoreLayout layout;
};

class LayoutSetting : public testing::TestWithParam<Layout> {};

TEST_P(LayoutSetting, IsUnderstood) {
  const Settings settings = Read("[store]\nlayout = " + std::string(GetParam().text) + "\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.layout, GetParam().layout);
}

INSTANTIATE_TEST_SUITE_P(, LayoutSetting,
                         testing::Values(Layout{"beside", StoreLayout::kBeside},
                                         Layout{"central", StoreLayout::kCentral},
                                         Layout{"auto", StoreLayout::kAuto}),
                         [](const auto& test) { return std::string(test.param.text); });

struct Indexed {
  const char* text;
  bool indexed;
};

class IndexedSetting : public testing::TestWithParam<Indexed> {};

TEST_P(IndexedSetting, IsUnderstood) {
  const Settings settings =
      Read("[share a]\npath = /a\nindexed = " + std::string(GetParam().text) + "\n");
  ASSERT_EQ(settings.error, "");
  EXPECT_EQ(settings.shares[0].indexed, GetParam().indexed);
}

INSTANTIATE_TEST_SUITE_P(, IndexedSetting,
                         testing::Values(Indexed{"yes", true}, Indexed{"true", true},
                                         Indexed{"1", true}, Indexed{"no", false},
                                         Indexed{"false", false}, Indexed{"0", false}),
                         [](const auto& test) { return std::string(test.param.text); });

struct Broken {
  const char* name;
  std::string text;
  const char* complaint;  // after the file's name
};

class BrokenFile : public testing::TestWithParam<Broken> {};

TEST_P(BrokenFile, NamesTheLineAndGivesTheDefaults) {
  const Settings settings = Read(GetParam().text);
  EXPECT_EQ(settings.error, settings.file + ":" + GetParam().complaint);
  ExpectDefaults(settings);
}

INSTANTIATE_TEST_SUITE_P(
    , BrokenFile,
    testing::Values(
        Broken{"UnknownSection", "[store]\n[stroe]\nlayout = auto\n", "2: unknown section [stroe]"},
        Broken{"ShareWithoutName", "[share ]\npath = /a\n", "1: unknown section [share ]"},
        Broken{"UnknownStoreKey", "[store]\nlayout = auto\nroots = /a\n",
               "3: unknown key \"roots\" in [store]"},
        Broken{"UnknownShareKey", "[share a]\npath = /a\nindex = yes\n",
               "3: unknown key \"index\" in [share a]"},
        Broken{"KeyOutsideASection", "layout = auto\n", "1: unknown key \"layout\" in []"},
        Broken{"UnknownLayout", "[store]\nlayout = Beside\n",
               "2: layout is \"Beside\", not beside, central or auto"},
        Broken{"UnknownAnswer", "[share a]\npath = /a\nindexed = maybe\n",
               "3: indexed is \"maybe\", not yes or no"},
        Broken{"RelativeRoot", "[store]\nroot = srv/store\n",
               "2: root is \"srv/store\", not the absolute path of a folder below /"},
        Broken{"RootIsTheRoot", "[store]\nroot = //\n",
               "2: root is \"//\", not the absolute path of a folder below /"},
        Broken{"ClimbingRoot", "[store]\nroot = /srv/../etc\n",
               "2: root is \"/srv/../etc\", not the absolute path of a folder below /"},
        Broken{"RelativePath", "[share a]\npath = a\n", "2: path is \"a\", not an absolute path"},
        Broken{"EmptyPath", "[share a]\npath =\n", "2: path is \"\", not an absolute path"},
        Broken{"NoPath", "[share a]\nindexed = yes\n[store]\n", "1: [share a] has no path"},
        Broken{"EmptyShare", "\n[share a]\n", "2: [share a] has no path"},
        Broken{"ShareTwice", "[share a]\npath = /a\n[share a]\npath = /b\n",
               "3: [share a] is given twice"},
        Broken{"ShareTwiceInOtherBlanks", "[share a]\npath = /a\n[share  a]\npath = /b\n",
               "3: [share a] is given twice"},
        Broken{"UnknownToolTwice", "[tool mogrify]\nthreads = 2\n[tool mogrify]\nthreads = 2\n",
               "1: unknown tool \"mogrify\""},
        Broken{"KeyTwice", "[store]\nlayout = auto\nlayout = beside\n",
               "3: \"layout\" is given twice"},
        Broken{"NoEqualsSign", "[store]\nlayout\n", "2: neither a [section] nor a key = value"},
        Broken{"OpenSection", "[store\n", "1: neither a [section] nor a key = value"},
        Broken{"LongLine", "[store]\nroot = /" + std::string(200, 'a') + "\nlayout = auto\n",
               "2: longer than 198 bytes or not a text"},
        Broken{"LongLastLine", "[store]\nroot = /" + std::string(200, 'a'),
               "2: longer than 198 bytes or not a text"},
        Broken{"NullByte", std::string("[store]\nlayout = auto\0x\n", 23),
               "2: longer than 198 bytes or not a text"},
        Broken{"FirstOfSeveral", "[store]\nlayout\nroot = a\n[stroe]\n",
               "2: neither a [section] nor a key = value"}),
    vexathumb::kit::CaseName());

TEST(SettingsFile, TakesTheLongestLine) {
  const std::string root = "/" + std::string(190, 'a');  // 198 bytes with its key
  const Settings settings = Read("[store]\nroot = " + root + "\nlayout = auto\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.root, root);
  EXPECT_EQ(settings.layout, StoreLayout::kAuto);
}

TEST(SettingsFile, MustBeAFile) {
  const TempDir folder;
  EXPECT_EQ(ReadSettingsFile(folder.path()).error, folder.path() + ": Is a directory");
  mkfifo((folder / "fifo").c_str(), 0600);
  EXPECT_EQ(ReadSettingsFile(folder / "fifo").error, (folder / "fifo") + ": Invalid argument");
}

TEST(CurrentSettings, AreThoseOfTheNamedFile) {
  const ScopedSettings file("[store]\nlayout = auto\n");
  EXPECT_EQ(CurrentSettings()->layout, StoreLayout::kAuto);
  EXPECT_EQ(CurrentSettings()->file, file.file());
}

TEST(CurrentSettings, AreReadAgainOnlyWhenTheFileChanged) {
  ScopedSettings file("[store]\nlayout = auto\n");
  const auto first = CurrentSettings();
  EXPECT_EQ(CurrentSettings(), first);
  file.Write("[store]\nlayout = central\n");
  EXPECT_EQ(CurrentSettings()->layout, StoreLayout::kCentral);
  EXPECT_EQ(first->layout, StoreLayout::kAuto);
}

TEST(CurrentSettings, FollowAReplacementOfTheSameSizeAndTime) {
  ScopedSettings file("[store]\nroot = /one\n");
  EXPECT_EQ(CurrentSettings()->root, "/one");
  const auto time = std::filesystem::last_write_time(file.file());
  WriteFile(file.file() + ".new", "[store]\nroot = /two\n");
  std::filesystem::last_write_time(file.file() + ".new", time);
  std::filesystem::rename(file.file() + ".new", file.file());
  EXPECT_EQ(CurrentSettings()->root, "/two");
}

TEST(CurrentSettings, FollowTheVariableToAnotherFile) {
  {
    const ScopedSettings file("[store]\nlayout = auto\n");
    EXPECT_EQ(CurrentSettings()->layout, StoreLayout::kAuto);
  }
  const ScopedSettings other("[store]\nlayout = central\n");
  EXPECT_EQ(CurrentSettings()->layout, StoreLayout::kCentral);
}

TEST(CurrentSettings, ComeFromTheSystemsFileWhenNoneIsNamed) {
  for (const char* value : {"", static_cast<const char*>(nullptr)}) {
    value == nullptr ? unsetenv("VEXATHUMB_CONFIG") : setenv("VEXATHUMB_CONFIG", value, 1);
    EXPECT_EQ(CurrentSettings()->file, "/etc/vexathumb/platform.ini");
  }
}

TEST(CurrentSettings, SayOnceForEveryChangeThatTheFileIsBroken) {
  TakeLog();
  ScopedSettings file("[store]\nlayout = x\n");
  ExpectDefaults(*CurrentSettings());
  CurrentSettings();
  auto log = TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].priority, 3);
  EXPECT_NE(log[0].text.find(file.file() + ":2: layout is \"x\""), std::string::npos)
      << log[0].text;
  EXPECT_EQ(CurrentSettings()->error,
            file.file() + ":2: layout is \"x\", not beside, central or auto");

  file.Write("[store]\n\nlayout = xx\n");
  CurrentSettings();
  CurrentSettings();
  EXPECT_EQ(TakeLog().size(), 1U);
  file.Write("[store]\nlayout = auto\n");
  EXPECT_EQ(CurrentSettings()->error, "");
  EXPECT_TRUE(TakeLog().empty());
}

TEST(CurrentSettings, SayOnceThatTheNamedFileIsMissing) {
  const TempDir folder;
  TakeLog();
  setenv("VEXATHUMB_CONFIG", (folder / "missing.ini").c_str(), 1);
  ExpectDefaults(*CurrentSettings());
  EXPECT_EQ(CurrentSettings()->error, (folder / "missing.ini") + ": No such file or directory");
  EXPECT_EQ(TakeLog().size(), 1U);
  unsetenv("VEXATHUMB_CONFIG");
}

TEST(CurrentSettings, LeaveErrnoAlone) {
  const ScopedSettings file("[store]\nlayout = x\n");
  errno = EDOM;
  CurrentSettings();
  EXPECT_EQ(errno, EDOM);
}

TEST(CurrentSettings, StayTheSameWhileTheyAreHeld) {
  ScopedSettings file("[store]\nroot = /one\n");
  {
    const SettingsHold hold;
    file.Write("[store]\nroot = /two\n");
    EXPECT_EQ(CurrentSettings()->root, "/one");
    { const SettingsHold inner; }
    EXPECT_EQ(CurrentSettings()->root, "/one");
    std::thread([] { EXPECT_EQ(CurrentSettings()->root, "/two"); }).join();
  }
  EXPECT_EQ(CurrentSettings()->root, "/two");
}

TEST(CurrentSettings, AreWholeOnEveryThreadWhileTheFileIsReplaced) {
  ScopedSettings file("[store]\nroot = /0\n[share 0]\npath = /0\n");
  std::vector<std::thread> readers;
  std::vector<int> torn(8);
  readers.reserve(torn.size());
  for (int& count : torn) {
    readers.emplace_back([&count] {
      for (int i = 0; i < 200; ++i) {
        const auto settings = CurrentSettings();
        if (settings->shares.size() != 1 || settings->shares[0].path != settings->root) ++count;
      }
    });
  }
  for (int i = 1; i < 50; ++i) {
    std::string text = "[store]\nroot = /" + std::to_string(i);
    text += "\n[share 0]\npath = /" + std::to_string(i) + "\n";
    WriteFile(file.file() + ".new", text);
    std::filesystem::rename(file.file() + ".new", file.file());
  }
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(torn, std::vector<int>(8));
  EXPECT_EQ(CurrentSettings()->root, "/49");
}

}  // namespace
}  // namespace vexaplatform
