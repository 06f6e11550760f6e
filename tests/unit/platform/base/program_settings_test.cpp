#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/base/settings_file.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

Settings Read(const std::string& text) {
  const TempDir folder;
  WriteFile(folder / "platform.ini", text);
  return ReadSettingsFile(folder / "platform.ini");
}

TEST(ProgramSettings, HaveDefaults) {
  const Settings settings = Read("");
  EXPECT_EQ(settings.service.lock_dir, "/run/lock/vexathumb");
  EXPECT_EQ(settings.service.builders, 0);
  EXPECT_EQ(settings.service.waiting, 100);
  EXPECT_TRUE(settings.service.compaction);
  EXPECT_EQ(settings.service.quality, 85);
  EXPECT_EQ(settings.service.free_boxes, 16);
  EXPECT_EQ(settings.service.free_box_space, 32);
  EXPECT_EQ(settings.service.free_box_store_space, 2048);
  EXPECT_EQ(settings.http.delivery, HttpDelivery::kSelf);
  EXPECT_TRUE(settings.http.map.empty());
}

TEST(ProgramSettings, OfTheServiceAreUnderstood) {
  const Settings settings = Read(
      "[service]\nlock_dir = /srv/lock/\nbuilders = 3\nwaiting = 0\npatience = 3600\ncompaction = "
      "no\n"
      "quality = 100\nfree_boxes = 0\nfree_box_space = 5\nfree_box_store_space = 6\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.service.lock_dir, "/srv/lock");
  EXPECT_EQ(settings.service.builders, 3);
  EXPECT_EQ(settings.service.waiting, 0);
  EXPECT_FALSE(settings.service.compaction);
  EXPECT_EQ(settings.service.quality, 100);
  EXPECT_EQ(settings.service.free_boxes, 0);
  EXPECT_EQ(settings.service.free_box_space, 5);
  EXPECT_EQ(settings.service.free_box_store_space, 6);
}

struct Delivery {
  const char* name;
  const char* text;
  HttpDelivery delivery;
};

class DeliverySetting : public testing::TestWithParam<Delivery> {};

TEST_P(DeliverySetting, IsUnderstood) {
  const Settings settings = Read("[http]\ndelivery = " + std::string(GetParam().text) + "\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.http.delivery, GetParam().delivery);
}

INSTANTIATE_TEST_SUITE_P(
    , DeliverySetting,
    testing::Values(Delivery{"Self", "self", HttpDelivery::kSelf},
                    Delivery{"XSendfile", "x-sendfile", HttpDelivery::kXSendfile},
                    Delivery{"XAccelRedirect", "x-accel-redirect", HttpDelivery::kXAccelRedirect}),
    vexathumb::kit::CaseName());

TEST(ProgramSettings, MapAnyNumberOfFolders) {
  const Settings settings =
      Read("[http]\nmap = /srv/photo = /files/photo\nmap=/srv/a=b/=/files/odd/\nmap = / = /all\n");
  EXPECT_EQ(settings.error, "");
  ASSERT_EQ(settings.http.map.size(), 3U);
  EXPECT_EQ(settings.http.map[0].path, "/srv/photo");
  EXPECT_EQ(settings.http.map[0].uri, "/files/photo");
  EXPECT_EQ(settings.http.map[1].path, "/srv/a=b");
  EXPECT_EQ(settings.http.map[1].uri, "/files/odd");
  EXPECT_EQ(settings.http.map[2].path, "/");
  EXPECT_EQ(settings.http.map[2].uri, "/all");
}

TEST(ProgramSettings, NameHosts) {
  EXPECT_EQ(Read("").http.hosts, (std::vector<std::string>{"localhost", "127.0.0.1", "[::1]"}));
  const Settings settings = Read("[http]\nhosts = nas.example  192.168.1.2 [fd00::2]\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_EQ(settings.http.hosts,
            (std::vector<std::string>{"nas.example", "192.168.1.2", "[fd00::2]"}));
}

TEST(ProgramSettings, SetLimitsOfTools) {
  const Settings settings = Read(
      "[tools]\nconfinement = no\ntemp_dir = /srv/tmp/\n[tool convert]\naddress_space = 2000\n"
      "cpu_time = 1\nwall_time = 2\nfile_size = 3\nopen_files = 40\nwritten = 8\ntasks = "
      "9\njpeg_memory = 5\nthreads = 6\n"
      "[tool other]\nwall_time = 7\n");
  EXPECT_EQ(settings.error, "");
  EXPECT_FALSE(settings.tools.confinement);
  EXPECT_EQ(settings.tools.temp_dir, "/srv/tmp");
  const ToolLimits& convert = settings.tools.limits.at("convert");
  EXPECT_EQ(convert.address_space, 2000);
  EXPECT_EQ(convert.cpu_time, 1);
  EXPECT_EQ(convert.wall_time, 2);
  EXPECT_EQ(convert.file_size, 3);
  EXPECT_EQ(convert.open_files, 40);
  EXPECT_EQ(convert.written, 8);
  EXPECT_EQ(convert.tasks, 9);
  EXPECT_EQ(convert.jpeg_memory, 5);
  EXPECT_EQ(convert.threads, 6);
  EXPECT_EQ(settings.tools.limits.at("other").wall_time, 7);
  EXPECT_EQ(settings.tools.limits.at("djpeg").wall_time, ToolLimits().wall_time);
  EXPECT_EQ(settings.tools.limits.at("djpeg").address_space, 768);
}

struct Broken {
  const char* name;
  const char* text;
  const char* complaint;  // after the file's name
};

class BrokenProgramSetting : public testing::TestWithParam<Broken> {};

TEST_P(BrokenProgramSetting, IsNamed) {
  const Settings settings = Read(GetParam().text);
  EXPECT_EQ(settings.error, settings.file + ":" + GetParam().complaint);
  EXPECT_EQ(settings.service.quality, 85);
  EXPECT_TRUE(settings.http.map.empty());
}

INSTANTIATE_TEST_SUITE_P(
    , BrokenProgramSetting,
    testing::Values(
        Broken{"RelativeLockDir", "[service]\nlock_dir = lock\n",
               "2: lock_dir is \"lock\", not the absolute path of a folder below /"},
        Broken{"LockDirIsTheRoot", "[service]\nlock_dir = /\n",
               "2: lock_dir is \"/\", not the absolute path of a folder below /"},
        Broken{"NegativeBuilders", "[service]\nbuilders = -1\n",
               "2: builders is \"-1\", not a number from 0 to 1024"},
        Broken{"HugeNumber", "[service]\nwaiting = 99999999999\n",
               "2: waiting is \"99999999999\", not a number from 0 to 10000"},
        Broken{"NumberAndMore", "[service]\nfree_boxes = 16 boxes\n",
               "2: free_boxes is \"16 boxes\", not a number from 0 to 1000"},
        Broken{"NoNumber", "[service]\nbuilders =\n",
               "2: builders is \"\", not a number from 0 to 1024"},
        Broken{"QualityZero", "[service]\nquality = 0\n",
               "2: quality is \"0\", not a number from 1 to 100"},
        Broken{
            "NoNetwork", "[service]\nmetrics =\n",
            "2: metrics is \"\", not off, or loopback and networks like 192.0.2.0/24 with spaces "
            "between them"},
        Broken{"OffAndMore", "[service]\nmetrics = loopback off\n",
               "2: metrics is \"loopback off\", not off, or loopback and networks like "
               "192.0.2.0/24 with spaces between them"},
        Broken{"NetworkOfTooManyBits", "[service]\nmetrics = 192.0.2.0/33\n",
               "2: metrics is \"192.0.2.0/33\", not off, or loopback and networks like "
               "192.0.2.0/24 with spaces between them"},
        Broken{"NameForANetwork", "[service]\nmetrics = nas.example\n",
               "2: metrics is \"nas.example\", not off, or loopback and networks like "
               "192.0.2.0/24 with spaces between them"},
        Broken{"NoHost", "[http]\nhosts =\n",
               "2: hosts is \"\", not names of hosts without ports, with spaces between them"},
        Broken{"HostWithItsPort", "[http]\nhosts = nas nas:80\n",
               "2: hosts is \"nas nas:80\", not names of hosts without ports, with spaces between "
               "them"},
        Broken{"OddAnswer", "[service]\nquality = 7\ncompaction = on\n",
               "3: compaction is \"on\", not yes or no"},
        Broken{"UnknownServiceKey", "[service]\nbuilder = 1\n",
               "2: unknown key \"builder\" in [service]"},
        Broken{"KeyTwice", "[service]\nquality = 7\nquality = 8\n",
               "3: \"quality\" is given twice"},
        Broken{"SectionTwice", "[http]\nmap = /a = /b\n[http]\n", "3: [http] is given twice"},
        Broken{"UnknownTool", "[tool mogrify]\n", "1: unknown tool \"mogrify\""},
        Broken{"UnknownLimit", "[tool mv]\nmemory = 1\n", "2: unknown key \"memory\" in [tool mv]"},
        Broken{"NoMemory", "[tool mv]\naddress_space = 0\n",
               "2: address_space is \"0\", not a number from 16 to 1048576"},
        Broken{"UnknownToolsKey", "[tools]\nwall_time = 1\n",
               "2: unknown key \"wall_time\" in [tools]"},
        Broken{"RelativeTempDir", "[tools]\ntemp_dir = tmp\n",
               "2: temp_dir is \"tmp\", not the absolute path of a folder"},
        Broken{"UnknownDelivery", "[http]\ndelivery = sendfile\n",
               "2: delivery is \"sendfile\", not self, x-sendfile or x-accel-redirect"},
        Broken{"MapWithoutUri", "[http]\nmap = /srv\n",
               "2: map is \"/srv\", not PATH = URI, both beginning with a slash"},
        Broken{"MapToRelativeUri", "[http]\nmap = /srv = files\n",
               "2: map is \"/srv = files\", not PATH = URI, both beginning with a slash"},
        Broken{"MapOfRelativePath", "[http]\nmap = srv = /files\n",
               "2: map is \"srv = /files\", not PATH = URI, both beginning with a slash"},
        Broken{"UnknownHttpKey", "[http]\nport = 80\n", "2: unknown key \"port\" in [http]"}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
