// Thumbnails for desktops: by the command, and by a thumbnail service that calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kit/case_name.h"
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

TEST_F(DesktopThumbnail, NamesEachByteOfAnOddName) {
  const std::string source = album_ / "50% \n\xff.png";
  kit::WritePng(source, {{60, 40}});
  ASSERT_EQ(Make(source).exit_code, 0);
  EXPECT_EQ(TextsOf(png())["Thumb::URI"], "file://" + album_ / "50%25%20%0A%FF.png");
  fs::remove(png());
  ASSERT_EQ(Make("file://" + album_ / "50%25%20%0A%FF.png").exit_code, 0);
  EXPECT_TRUE(fs::exists(png()));
}

struct OutputCase {
  const char* name;
  const char* output;
  int exit_code;
};

void PrintTo(const OutputCase& one, std::ostream* out) { *out << one.name; }

class DesktopOutput : public DesktopThumbnail, public testing::WithParamInterface<OutputCase> {};

TEST_P(DesktopOutput, IsWholeOrSaidInOneLine) {
  kit::WriteJpeg(album_ / "a.jpg");
  fs::create_directory(album_.Aside("folder"));
  kit::WriteFile(album_.Aside("full"), "something else");
  kit::WriteFile(album_.Aside("empty"), "");
  fs::create_symlink(album_.Aside("full"), album_.Aside("link"));
  fs::create_symlink(album_.Aside("nowhere"), album_.Aside("dead-link"));
  fs::create_hard_link(album_ / "a.jpg", album_.Aside("source"));
  const std::string source = kit::ReadFile(album_ / "a.jpg");
  const std::string output = album_.Aside(GetParam().output);
  const RunResult run = album_.Run({"desktop-thumbnail", album_ / "a.jpg", output});
  EXPECT_EQ(run.exit_code, GetParam().exit_code) << run.err;
  EXPECT_EQ(kit::ReadFile(album_ / "a.jpg"), source);
  if (GetParam().exit_code == 0) {
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(kit::Corners(output), kit::kPictureCorners);
  } else {
    EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  }
}

INSTANTIATE_TEST_SUITE_P(
    , DesktopOutput,
    testing::Values(OutputCase{"New", "new", 0}, OutputCase{"EmptyFile", "empty", 0},
                    OutputCase{"AnotherFile", "full", 0}, OutputCase{"Link", "link", 0},
                    OutputCase{"DeadLink", "dead-link", 0}, OutputCase{"Folder", "folder", 4},
                    OutputCase{"InNoFolder", "none/a.png", 4},
                    OutputCase{"TheSource", "source", 2}),
    kit::CaseName());

TEST_F(DesktopThumbnail, HasASideOfOnePixelAtLeast) {
  kit::WriteJpeg(album_ / "a.jpg");
  EXPECT_EQ(Make(album_ / "a.jpg", 0).exit_code, 2);
  EXPECT_EQ(Make(album_ / "a.jpg", 4097).exit_code, 2);
  ASSERT_EQ(Make(album_ / "a.jpg", 1).exit_code, 0);
  EXPECT_EQ(kit::Examine(png()).width, 1);
}

struct DesktopCase {
  const char* name;
  void (*write)(const std::string& path);
  int exit_code;
};

void PrintTo(const DesktopCase& one, std::ostream* out) { *out << one.name; }

class DesktopSource : public DesktopThumbnail, public testing::WithParamInterface<DesktopCase> {};

void WriteGradient(const std::string& path) {
  kit::RunTool({"/usr/bin/convert", "-size", "400x300", "gradient:", path});
}

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
        DesktopCase{"a.psd", &WriteGradient, 0}, DesktopCase{"a.tga", &WriteGradient, 0},
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

// In which desktops run programs that read strangers' files.
struct Sandbox {
  const char* name;
  std::vector<std::string> root;
};

void PrintTo(const Sandbox& sandbox, std::ostream* out) { *out << sandbox.name; }

const Sandbox kSandboxes[] = {
    {"OfSystemFilesAlone",
     {"--ro-bind", "/usr", "/usr", "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64",
      "/lib64", "--symlink", "usr/bin", "/bin", "--ro-bind-try", "/etc/alternatives",
      "/etc/alternatives", "--ro-bind-try", "/etc/ld.so.cache", "/etc/ld.so.cache"}},
    {"ClosedToWriters", {"--ro-bind", "/", "/", "--tmpfs", "/home", "--tmpfs", "/root"}}};

class SandboxedThumbnail : public DesktopThumbnail, public testing::WithParamInterface<Sandbox> {
 protected:
  void SetUp() override {
    if (kit::RunTool({"/bin/sh", "-c", "bwrap --ro-bind / / --unshare-all true || echo no"}) !=
        "") {
      GTEST_SKIP() << "bwrap is not installed, or may not be used here";
    }
    fs::create_directory(album_.Aside("tmp"));
  }

  // Nothing of the machine's /tmp but the picture is there, and no settings.
  RunResult Make(const std::string& name) const {
    const std::string build = fs::path(VEXATHUMB_PROGRAM).parent_path().parent_path();
    RunOptions options;
    options.runner = {"/usr/bin/bwrap"};
    const auto add = [&options](const std::vector<std::string>& arguments) {
      options.runner.insert(options.runner.end(), arguments.begin(), arguments.end());
    };
    add(GetParam().root);
    add({"--proc", "/proc", "--dev", "/dev", "--bind", album_.Aside("tmp"), "/tmp", "--ro-bind",
         album_ / name, "/tmp/" + name, "--ro-bind", build, build, "--unsetenv", "VEXATHUMB_CONFIG",
         "--unshare-all", "--die-with-parent", "--chdir", "/"});
    return album_.Run({"desktop-thumbnail", "file:///tmp/" + name, "/tmp/out.png"}, options);
  }
  std::string png() const { return album_.Aside("tmp/out.png"); }
};

TEST_P(SandboxedThumbnail, IsMade) {
  kit::WriteJpeg(album_ / "a.jpg", {{1600, 1200}, 6});
  kit::WriteHeic(album_ / "a.heic", {{400, 300}});
  kit::WriteDng(album_ / "a.dng");
  for (const char* name : {"a.jpg", "a.heic", "a.dng"}) {
    const RunResult run = Make(name);
    ASSERT_EQ(run.exit_code, 0) << name << ": " << run.err;
    const bool is_raw = name == std::string("a.dng");
    EXPECT_EQ(kit::Corners(png()), is_raw ? kit::kPreviewCorners : kit::kPictureCorners) << name;
    EXPECT_EQ(TextsOf(png())["Thumb::URI"], "file:///tmp/" + std::string(name));
    fs::remove(png());
  }
}

INSTANTIATE_TEST_SUITE_P(, SandboxedThumbnail, testing::ValuesIn(kSandboxes), kit::CaseName());

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
whole() { ls "$XDG_CACHE_HOME/thumbnails/normal" 2>/dev/null | grep -c '^[0-9a-f]*\.png$'; }
while [ "$(whole)" -lt 3 ] && [ $tries -gt 0 ]
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
