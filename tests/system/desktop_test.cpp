// Thumbnails for desktops: by the command, and by a thumbnail service that calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

// The texts of a PNG.
std::map<std::string, std::string> TextsOf(const std::string& png) {
  std::map<std::string, std::string> texts;
  for (const char* key : {"Thumb::URI", "Thumb::MTime", "Thumb::Size", "Thumb::Mimetype"}) {
    const std::string content = kit::ReadFile(png);
    const std::string start = std::string("tEXt") + key + '\0';
    const size_t found = content.find(start);
    if (found == std::string::npos || found < 4) continue;
    size_t size = 0;
    for (size_t i = found - 4; i < found; ++i) {
      size = size << 8U | static_cast<unsigned char>(content[i]);
    }
    texts[key] = content.substr(found + start.size(), size + 4 - start.size());
  }
  return texts;
}

class DesktopThumbnail : public testing::Test {
 protected:
  RunResult Make(const std::string& source, int side = 128) const {
    return album_.Run({"desktop-thumbnail", "-s", std::to_string(side), source, png()});
  }
  std::string png() const { return album_.Aside("out"); }

  std::string WriteJxl(const std::string& name) const {
    kit::WritePng(album_.Aside("jxl.png"), {{400, 300}});
    kit::RunTool({"/usr/bin/vips", "copy", album_.Aside("jxl.png"), album_ / name});
    kit::Age(album_ / name);
    return album_ / name;
  }

  Album album_;
};

TEST_F(DesktopThumbnail, SaysOfWhichFileItIs) {
  kit::WriteJpeg(album_ / "a b\xc3\xa9.jpg", {{1600, 1200}, 6});
  const RunResult run = Make(album_ / "a b\xc3\xa9.jpg");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(kit::Corners(png()), kit::kPictureCorners);
  const kit::PictureInfo picture = kit::Examine(png());
  EXPECT_EQ(picture.width, 128);
  EXPECT_EQ(picture.height, 96);
  struct stat source = {};
  ASSERT_EQ(stat((album_ / "a b\xc3\xa9.jpg").c_str(), &source), 0);
  auto texts = TextsOf(png());
  EXPECT_EQ(texts["Thumb::URI"], "file://" + album_ / "a%20b%C3%A9.jpg");
  EXPECT_EQ(texts["Thumb::MTime"], std::to_string(source.st_mtime));
  EXPECT_EQ(texts["Thumb::Size"], std::to_string(source.st_size));
  EXPECT_EQ(texts["Thumb::Mimetype"], "image/jpeg");
  // Whoever checks the sums of its parts finds nothing wrong.
  EXPECT_EQ(
      kit::RunTool({"/usr/bin/convert", png(), "-format", "%[png:IHDR.width,height]", "info:"}),
      "128, 96");
}

TEST_F(DesktopThumbnail, HasTheUriAsItWasGiven) {
  kit::WritePng(album_ / "a b.png", {{400, 300}});
  const std::string uri = "file://" + album_ / "%61%20b.pn%67";
  ASSERT_EQ(Make(uri).exit_code, 0);
  EXPECT_EQ(TextsOf(png())["Thumb::URI"], uri);
}

TEST_F(DesktopThumbnail, IsNeverEnlarged) {
  kit::WritePng(album_ / "a.png", {{60, 40}});
  ASSERT_EQ(Make(album_ / "a.png", 1024).exit_code, 0);
  EXPECT_EQ(kit::Examine(png()).width, 60);
}

TEST_F(DesktopThumbnail, IsMadeOfWhatIsStored) {
  kit::WriteJpeg(album_ / "a.jpg", {{1600, 1200}});
  kit::Age(album_ / "a.jpg");
  ASSERT_EQ(album_.Run({"get", "--size", "medium", album_ / "a.jpg"}).exit_code, 0);
  const std::string before = SnapshotOf(album_.pictures());
  const auto spied = album_.Spied("SPY_JOURNAL", album_.Aside("journal"));
  ASSERT_EQ(album_.Run({"desktop-thumbnail", album_ / "a.jpg", png()}, {"", spied}).exit_code, 0);
  EXPECT_EQ(kit::Examine(png()).width, 128);
  EXPECT_EQ(SnapshotOf(album_.pictures()), before);
  // One fits the stored one; none decodes the source.
  EXPECT_THAT(kit::ReadFile(album_.Aside("journal")), testing::Not(HasSubstr("djpeg")));
}

struct DesktopCase {
  const char* name;
  void (*write)(const std::string& path);
  int exit_code;
};

void PrintTo(const DesktopCase& one, std::ostream* out) { *out << one.name; }

class DesktopSource : public DesktopThumbnail, public testing::WithParamInterface<DesktopCase> {};

TEST_P(DesktopSource, LeavesNothingInItsFolder) {
  const std::string source = album_ / GetParam().name;
  GetParam().write(source);
  const RunResult run = Make(source);
  EXPECT_EQ(run.exit_code, GetParam().exit_code) << run.err;
  EXPECT_EQ(fs::exists(png()), GetParam().exit_code == 0);
  EXPECT_TRUE(run.leftovers.empty());
  EXPECT_FALSE(fs::exists(album_ / ".vexaea"));
}

INSTANTIATE_TEST_SUITE_P(
    , DesktopSource,
    testing::Values(
        DesktopCase{"a.jpg", [](const std::string& path) { kit::WriteJpeg(path); }, 0},
        DesktopCase{"a.dng", [](const std::string& path) { kit::WriteDng(path); }, 0},
        DesktopCase{"a.heic", [](const std::string& path) { kit::WriteHeic(path); }, 0},
        DesktopCase{"a.tif", [](const std::string& path) { kit::WriteTiff(path); }, 0},
        DesktopCase{"a.gif", [](const std::string& path) { kit::WriteAnimatedGif(path); }, 0},
        DesktopCase{"broken.jpg", [](const std::string& path) { kit::WriteFile(path, kNoPicture); },
                    1},
        DesktopCase{"missing.jpg", [](const std::string&) {}, 3}),
    [](const auto& one) {
      std::string name = one.param.name;
      name.erase(name.find('.'), 1);
      return name;
    });

TEST_F(DesktopThumbnail, IsOfLocalFilesAlone) {
  for (const char* uri : {"http://localhost/a.jpg", "file://host/a.jpg", "file:///a%zz.jpg",
                          "file:///a%00.jpg", "trash:///a.jpg"}) {
    const RunResult run = Make(uri);
    EXPECT_EQ(run.exit_code, 3) << uri;
    EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  }
}

// The installation's entry, and a service of Debian's that reads it.
TEST_F(DesktopThumbnail, IsShownByAThumbnailService) {
  std::string service;
  for (const auto& library : fs::directory_iterator("/usr/lib")) {
    const std::string path = library.path() / "tumbler-1/tumblerd";
    if (access(path.c_str(), X_OK) == 0) service = path;
  }
  if (service.empty() || access("/usr/bin/dbus-run-session", X_OK) != 0) {
    GTEST_SKIP() << "tumblerd or dbus-run-session is not installed";
  }
  album_.UseEngine("auto");
  kit::WriteDng(album_ / "a.dng");
  kit::WriteHeic(album_ / "b.heic", {{400, 300}});
  WriteJxl("c.jxl");
  fs::create_directories(album_.Aside("share/thumbnailers"));
  fs::create_directory(album_.Aside("bin"));
  fs::copy_file(THUMBNAILER, album_.Aside("share/thumbnailers/vexathumb.thumbnailer"));
  fs::create_symlink(VEXATHUMB_PROGRAM, album_.Aside("bin/vexathumb"));
  kit::WriteFile(album_.Aside("ask"), R"sh(
"$SERVICE" & service=$!
gdbus wait --session --timeout 60 org.freedesktop.thumbnails.Thumbnailer1
gdbus call --session --dest org.freedesktop.thumbnails.Thumbnailer1 \
  --object-path /org/freedesktop/thumbnails/Thumbnailer1 \
  --method org.freedesktop.thumbnails.Thumbnailer1.Queue \
  "['file://$ALBUM/a.dng', 'file://$ALBUM/b.heic', 'file://$ALBUM/c.jxl']" \
  "['image/x-adobe-dng', 'image/heif', 'image/jxl']" normal default 0
tries=1800
while [ "$(ls "$XDG_CACHE_HOME/thumbnails/normal" 2>/dev/null | wc -l)" -lt 3 ] && [ $tries -gt 0 ]
do sleep 0.1; tries=$((tries - 1)); done
kill $service
)sh");
  kit::RunTool({"/usr/bin/env", "SERVICE=" + service, "ALBUM=" + album_.pictures(),
                "HOME=" + album_.Aside(""), "XDG_CACHE_HOME=" + album_.Aside("cache"),
                "XDG_DATA_HOME=" + album_.Aside("data"),
                "XDG_DATA_DIRS=" + album_.Aside("share") + ":/usr/share",
                "PATH=" + album_.Aside("bin") + ":/usr/bin:/bin",
                "VEXATHUMB_CONFIG=" + album_.Aside("platform.ini"), "/usr/bin/dbus-run-session",
                "--", "/bin/sh", album_.Aside("ask")});
  for (const char* name : {"a.dng", "b.heic", "c.jxl"}) {
    const std::string uri = "file://" + album_ / name;
    const std::string sum = kit::RunTool(
        {"/bin/sh", "-c", "printf %s \"$0\" | md5sum | cut -c1-32 | tr -d '\\n'", uri});
    const std::string png = album_.Aside("cache/thumbnails/normal/" + sum + ".png");
    ASSERT_TRUE(fs::exists(png)) << name;
    EXPECT_EQ(TextsOf(png)["Thumb::URI"], uri);
    const bool is_raw = name == std::string("a.dng");
    EXPECT_EQ(kit::Corners(png), is_raw ? kit::kPreviewCorners : kit::kPictureCorners) << name;
  }
  EXPECT_FALSE(fs::exists(album_ / ".vexaea"));
}

}  // namespace
}  // namespace vexathumb::system_test
