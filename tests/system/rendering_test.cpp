// The programs with the renderer, as they are installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/colour_profile.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

// Beside the program.
const std::string kRenderer = fs::path(VEXATHUMB_PROGRAM).replace_filename("vexathumb-render");

class RenderedAlbum : public testing::Test {
 protected:
  RenderedAlbum() { album_.UseEngine("auto"); }

  void SetUp() override {
    if (album_.Run({"doctor"}).out.find("ok    renderer: /") == std::string::npos) {
      GTEST_SKIP() << "built without libvips";
    }
  }

  std::string WriteJpeg(const std::string& name, const kit::Size& size = {1600, 1200}) const {
    kit::WriteJpeg(album_ / name, {size});
    return album_ / name;
  }

  // A photograph that lacks the end of its bytes.
  std::string WriteDamaged(const std::string& name) const {
    const std::string path = WriteJpeg(name);
    fs::resize_file(path, fs::file_size(path) * 3 / 4);
    kit::Age(path);
    return path;
  }

  Album album_;
};

TEST_F(RenderedAlbum, IsBuiltWithNoToolAtAll) {
  WriteJpeg("a.jpg");
  kit::WritePng(album_ / "b.png", {{1600, 1200}});
  kit::WriteTiff(album_ / "c.tif", {{1600, 1200}, 6});
  kit::WriteWebp(album_ / "d.webp", {{1600, 1200}});
  kit::WriteHeic(album_ / "e.heic", {{1600, 1200}, 8});
  kit::WriteAvif(album_ / "f.avif", {{1600, 1200}});
  auto environment = album_.Spied("SPY_JOURNAL", album_.Aside("journal"));
  const RunResult run = album_.Run({"build", album_.pictures()}, {"", environment});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_FALSE(fs::exists(album_.Aside("journal"))) << kit::ReadFile(album_.Aside("journal"));
  EXPECT_EQ(kit::Corners(album_.Stored("f.avif", "VEXAFILE_THUMB_M.jpg")), kit::kPictureCorners);
  EXPECT_THAT(album_.Run({"build", album_.pictures()}).out, HasSubstr("0 built, "));
}

TEST_F(RenderedAlbum, TellsOfADamagedPictureAndShowsIt) {
  const std::string damaged = WriteDamaged("a.jpg");
  const RunResult built = album_.Run({"build", "--json", damaged});
  EXPECT_EQ(built.exit_code, 0);
  EXPECT_TRUE(built.HasOneErrorLine()) << built.err;
  EXPECT_THAT(built.err, HasSubstr("it is damaged: its thumbnails show what can be read of it"));
  EXPECT_EQ(built.json_lines().front()["damaged"], true);
  const RunResult got = album_.Run({"get", "--json", "--size", "small", damaged});
  EXPECT_EQ(got.exit_code, 0);
  EXPECT_EQ(got.json()["damaged"], true);
  const RunResult of_whole = album_.Run({"get", "--json", "--size", "small", WriteJpeg("b.jpg")});
  EXPECT_EQ(of_whole.json()["damaged"], false);
}

TEST_F(RenderedAlbum, ShowsWhatTheLibraryDoesNotKnow) {
  const std::string png = album_.Aside("a.png");
  kit::WritePng(png, {{400, 300}});
  kit::RunTool({"/usr/bin/vips", "copy", png, album_ / "a.jxl"});
  kit::Age(album_ / "a.jxl");
  const RunResult run =
      album_.Run({"get", "--size", "small", album_ / "a.jxl", "-o", album_.Aside("out.jpg")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(kit::Corners(album_.Aside("out.jpg")), kit::kPictureCorners);
  EXPECT_EQ(album_.Run({"get", "--library", "--size", "small", album_ / "a.jxl"}).exit_code, 1);
}

TEST_F(RenderedAlbum, IsBuiltByTheToolsWhereTheSettingsSaySo) {
  album_.UseEngine("tools");
  WriteJpeg("a.jpg");
  auto environment = album_.Spied("SPY_JOURNAL", album_.Aside("journal"));
  EXPECT_EQ(album_.Run({"build", album_.pictures()}, {"", environment}).exit_code, 0);
  EXPECT_THAT(kit::ReadFile(album_.Aside("journal")), HasSubstr("djpeg"));
  EXPECT_THAT(album_.Run({"doctor"}).out,
              HasSubstr("ok    renderer: not used: engine is tools in the settings"));
}

// One upright JPEG is otherwise decoded by djpeg, which drops the profile.
TEST_F(RenderedAlbum, HasTrueColoursWhoeverAsksFirst) {
  constexpr int kRedInAdobeRgb = 80;
  kit::WriteFile(album_.Aside("adobe.icc"), kit::AdobeRgbProfile());
  kit::RunTool({"/usr/bin/convert", "-size", "1600x1200", "xc:rgb(80,160,80)", "-profile",
                "ICM:" + album_.Aside("adobe.icc"), "JPEG:" + album_ / "a.jpg"});
  kit::Age(album_ / "a.jpg");
  fs::copy_file(album_ / "a.jpg", album_ / "b.jpg");
  kit::Age(album_ / "b.jpg");
  ASSERT_EQ(album_.Run({"get", album_ / "a.jpg", "--size", "small"}).exit_code, 0);
  ASSERT_EQ(album_.Run({"build", album_ / "b.jpg"}).exit_code, 0);
  const kit::Raster by_get = kit::ReadRaster(album_.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg"));
  const kit::Raster by_build = kit::ReadRaster(album_.Stored("b.jpg", "VEXAFILE_THUMB_S.jpg"));
  for (int channel = 0; channel < 3; ++channel) {
    EXPECT_NEAR(by_get.At(60, 45, channel), by_build.At(60, 45, channel), 3) << channel;
  }
  EXPECT_LT(by_get.At(60, 45, 0), kRedInAdobeRgb - 30);
}

TEST_F(RenderedAlbum, IsToldOfByDoctorTypeByType) {
  const std::string out = album_.Run({"doctor"}).out;
  for (const char* line : {"engine for JPEG: the renderer: ", "engine for HEIC: the renderer: ",
                           "engine for BMP: the tools: ", "engine for raw files: the tools: "}) {
    EXPECT_THAT(out, HasSubstr(line));
  }
}

struct BrokenRenderer {
  const char* name;
  const char* script;
  const char* told;  // by doctor
};

void PrintTo(const BrokenRenderer& broken, std::ostream* out) { *out << broken.name; }

class AlbumWithBrokenRenderer : public testing::TestWithParam<BrokenRenderer> {
 protected:
  AlbumWithBrokenRenderer() {
    album_.UseEngine("auto");
    album_.ReplaceRenderer(GetParam().script);
  }

  Album album_;
};

TEST_P(AlbumWithBrokenRenderer, IsBuiltByTheToolsAndShown) {
  kit::WriteJpeg(album_ / "a.jpg", {{1600, 1200}});
  kit::WritePng(album_ / "b.png", {{1600, 1200}});
  const RunResult shown = album_.Run({"get", "--size", "small", album_ / "b.png"});
  EXPECT_EQ(shown.exit_code, 0) << shown.err;
  const RunResult built = album_.Run({"build", album_.pictures()});
  EXPECT_EQ(built.exit_code, 0) << built.err;
  EXPECT_EQ(kit::Corners(album_.Stored("a.jpg", "VEXAFILE_THUMB_M.jpg")), kit::kPictureCorners);
  EXPECT_THAT(album_.Run({"build", album_.pictures()}).out, HasSubstr("0 built, "));
}

TEST_P(AlbumWithBrokenRenderer, IsToldWhyByDoctor) {
  const RunResult run = album_.Run({"doctor"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.out, HasSubstr("FAIL  renderer: /"));
  EXPECT_THAT(run.out, HasSubstr(GetParam().told));
}

constexpr BrokenRenderer kBrokenRenderers[] = {
    {"WithoutALibrary", "#!/bin/sh\necho 'libvips-cpp.so.42: no such file' >&2\nexit 127\n",
     "does not work: libvips-cpp.so.42: no such file; pictures come from the tools"},
    {"ThatServesNobody", "#!/bin/sh\n[ \"$1\" = --types ]\n",
     "cannot be started: it left with status 1; pictures come from the tools"},
    {"OfAnotherMachine", "\177ELF", "does not work"},
};
INSTANTIATE_TEST_SUITE_P(Renderers, AlbumWithBrokenRenderer, testing::ValuesIn(kBrokenRenderers),
                         kit::CaseName());

TEST_F(RenderedAlbum, IsBuiltByOneRendererForAllJobsAndByNoneTheSecondTime) {
  const std::string journal = album_.Aside("journal");
  album_.ReplaceRenderer("#!/bin/sh\necho started >> " + journal + "\nexec " + kRenderer + "\n");
  constexpr int kPictures = 12;
  for (int i = 0; i < kPictures; ++i) WriteJpeg(std::to_string(i) + ".jpg", {640, 480});
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(album_.Run({"build", "--jobs", "3", album_.pictures()}).exit_code, 0);
    EXPECT_EQ(kit::ReadFile(journal), "started\n");
  }
}

// What is nobody else's child is this process's.
std::vector<pid_t> Renderers() {
  std::vector<pid_t> found;
  std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
  for (pid_t child = 0; children >> child;) {
    const std::string comm = kit::ReadFile("/proc/" + std::to_string(child) + "/comm");
    if (comm == "vexathumb-rende\n") found.push_back(child);
  }
  return found;
}

bool IsAlive(pid_t process) {
  std::string status;
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::getline(stat, status);
  const size_t name_end = status.rfind(')');
  return name_end != std::string::npos && status.at(name_end + 2) != 'Z';
}

TEST_F(RenderedAlbum, IsBuiltWholeThoughItsRendererIsKilledAgainAndAgain) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  constexpr int kPictures = 40;
  for (int i = 0; i < kPictures; ++i) WriteJpeg(std::to_string(i) + ".jpg");
  const auto build = album_.Start({"build", "--json", album_.pictures()});
  int kills = 0;
  while (build->IsRunning()) {
    for (const pid_t renderer : Renderers()) {
      if (kills < 10 && IsAlive(renderer) && kill(renderer, SIGKILL) == 0) ++kills;
    }
    usleep(30000);
  }
  const RunResult run = build->Wait();
  EXPECT_GT(kills, 0);
  EXPECT_THAT(run.exit_code, testing::AnyOf(0, 75)) << run.err;
  const Json told = run.json_lines().back();
  EXPECT_EQ(told["summary"]["failed"], 0) << "it is not the photographs' fault";
  EXPECT_EQ(album_.Run({"build", "--retry-failed", album_.pictures()}).exit_code, 0);
  for (int i = 0; i < kPictures; ++i) {
    EXPECT_EQ(kit::Corners(album_.Stored(std::to_string(i) + ".jpg", "VEXAFILE_THUMB_S.jpg")),
              kit::kPictureCorners);
  }
  for (const auto& entry : fs::recursive_directory_iterator(album_.pictures())) {
    EXPECT_EQ(entry.path().filename().string().find("VEXATHUMBTMP"), std::string::npos);
  }
}

TEST_F(RenderedAlbum, LeavesNoRendererBehind) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  kit::WritePng(album_ / "b.png", {{1600, 1200}});
  EXPECT_EQ(album_.Run({"get", "--size", "small", album_ / "b.png"}).exit_code, 0);
  for (const pid_t renderer : Renderers()) {
    for (int i = 0; i < 1000 && IsAlive(renderer); ++i) usleep(10000);
    EXPECT_FALSE(IsAlive(renderer));
  }
}

}  // namespace
}  // namespace vexathumb::system_test
