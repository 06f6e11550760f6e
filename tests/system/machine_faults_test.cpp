// What goes wrong in the machine around the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/whole_picture.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::IsEmpty;

constexpr char kAnimation[] = "killed-host.gif";

void WritePictures(const Album& album) {
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  kit::WriteJpeg(album / "b.jpg", {{800, 600}, 6});
  kit::JpegOptions camera;
  camera.size = {800, 600};
  camera.exif_thumbnail = kit::Size{160, 120};
  kit::WriteJpeg(album / "c.jpg", camera);
  kit::WritePng(album / "d.png", {{400, 300}, 0});
  kit::WriteAnimatedGif(album / kAnimation);
  kit::WriteDng(album / "f.dng");
}

const char* const kBuild[] = {"build", "--sizes", "small,medium"};

std::vector<std::string> BuildOf(const Album& album) {
  std::vector<std::string> arguments(std::begin(kBuild), std::end(kBuild));
  arguments.push_back(album.pictures());
  return arguments;
}

// The full frames of an animation stay in /var/tmp where their host is killed between the two steps
// that make its thumbnail; the hourly sweep takes them.
void RemoveFullFrames() {
  for (const auto& entry : fs::directory_iterator("/var/tmp")) {
    const std::string name = entry.path().filename();
    if (name.find(kAnimation) != std::string::npos) fs::remove(entry.path());
  }
}

// What the tools of a killed host have begun is removed when they end, which is a moment later.
void RemoveStore(const Album& album) {
  std::error_code changing;
  do {
    fs::remove_all(album / ".vexaea", changing);
  } while (changing);
}

TEST(HostKilled, AtAnyMomentOfABuildLeavesNoPartUnderAFinalName) {
  constexpr int kKills = 25;  // that came before the end
  const Album album;
  WritePictures(album);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(album.Run(BuildOf(album)).exit_code, 0);
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);

  std::mt19937 random(7);
  int killed = 0;
  while (killed < kKills) {
    RemoveStore(album);
    const auto run_until_killed = album.Start(BuildOf(album));
    std::this_thread::sleep_for(
        std::chrono::microseconds(random() % static_cast<uint64_t>(whole.count())));
    run_until_killed->KillAll();
    const RunResult run = run_until_killed->Wait();
    if (run.exit_code == 256 + SIGKILL) ++killed;
    if (fs::exists(album / ".vexaea")) {
      EXPECT_THAT(kit::PartialThumbnails(album.pictures()), IsEmpty());
    }
    for (const std::string& leftover : run.leftovers) fs::remove(leftover);
  }
  const RunResult again = album.Run(BuildOf(album));
  EXPECT_EQ(again.exit_code, 0) << again.err;
  EXPECT_EQ(kit::Corners(album.Stored("b.jpg", "VEXAFILE_THUMB_M_r1.jpg")), kit::kPictureCorners);
  RemoveFullFrames();
}

class FewDescriptors : public ::testing::TestWithParam<unsigned> {};

TEST_P(FewDescriptors, FailWithACauseAndLeaveNothing) {
  const Album album;
  WritePictures(album);
  for (const char* file : {"a.jpg", "c.jpg", "d.png", kAnimation, "f.dng"}) {
    RunOptions options;
    options.open_files = GetParam();
    const RunResult run =
        album.Run({"get", album / file, "--size", "small", "-o", album.Aside("out")}, options);
    EXPECT_THAT(run.exit_code, AnyOf(0, 1, 3, 4, 75, 127)) << file << ": " << run.err;
    // 127: so few that the system's loader does not find the libraries.
    if (run.exit_code != 0 && run.exit_code != 127) {
      EXPECT_TRUE(run.HasOneErrorLine()) << file << ": " << run.err;
      EXPECT_FALSE(fs::exists(album.Aside("out"))) << file;
    }
    EXPECT_THAT(run.leftovers, IsEmpty()) << file;
    EXPECT_THAT(kit::PartialThumbnails(album.pictures()), IsEmpty());
    fs::remove(album.Aside("out"));
  }
  const RunResult after = album.Run(BuildOf(album));
  EXPECT_EQ(after.exit_code, 0) << after.err;
}

INSTANTIATE_TEST_SUITE_P(Counts, FewDescriptors, ::testing::Values(3U, 4U, 5U, 6U, 8U, 12U));

}  // namespace
}  // namespace vexathumb::system_test
