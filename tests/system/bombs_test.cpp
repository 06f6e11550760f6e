// Small files that ask for more than a machine has cost one failed thumbnail at most.
#include "kit/hostile/bombs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <string>
#include <tuple>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;

constexpr double kWallLimit = 60 + 3;  // seconds: the tools' own, and a little for the rest
constexpr long kMostMemoryKib = 1300 * 1024;

enum class Answer {
  kPicture,  // upright and right
  kRefusal,
  kEither,  // as the limits let it
};

struct Bomb {
  const char* name;
  const char* file;
  std::string (*bytes)();
  Answer answer;
};

#ifdef VEXATHUMB_SANITIZED  // the tools are not, and what leads to them is elsewhere
const auto kEngines = testing::Values("auto");
#else
const auto kEngines = testing::Values("auto", "tools");
#endif

void PrintTo(const Bomb& bomb, std::ostream* out) { *out << bomb.name; }

// A sound picture with a megabyte of something else behind it.
std::string WithGarbage(void (*write)(const std::string&)) {
  const kit::TempDir dir;
  write(dir / "picture");
  return kit::ReadFile(dir / "picture") + kit::Garbage(1'000'000);
}

const Bomb kBombs[] = {
    {"huge_jpeg", "bomb.jpg", [] { return kit::HugeJpeg(); }, Answer::kRefusal},
    {"huge_progressive_jpeg", "bomb.jpg", [] { return kit::HugeProgressiveJpeg(); },
     Answer::kRefusal},
    {"huge_png", "bomb.png", [] { return kit::HugePng(); }, Answer::kRefusal},
    {"huge_gif", "bomb.gif", [] { return kit::HugeGif(); }, Answer::kRefusal},
    {"huge_tiff", "bomb.tif", [] { return kit::HugeTiff(); }, Answer::kRefusal},
    {"jpeg_of_5000_scans", "bomb.jpg",
     [] {
       return kit::ManyScanJpeg({4000, 3000}, 5000);
     },
     Answer::kEither},
#ifndef VEXATHUMB_SANITIZED  // it takes the renderer a minute there
    {"png_of_200_long_texts", "bomb.png", [] { return kit::LongTextPng(200); }, Answer::kEither},
#endif
    {"gif_of_100000_frames", "bomb.gif", [] { return kit::ManyFrameGif(100'000); },
     Answer::kEither},
    {"tiff_of_10000_directories", "bomb.tif",
     [] { return kit::TiffChain(10'000, kit::ChainEnd::kOpen); }, Answer::kRefusal},
    {"tiff_loop", "bomb.tif", [] { return kit::TiffChain(3, kit::ChainEnd::kLoop); },
     Answer::kRefusal},
    {"raw_file_of_a_tiff_loop", "bomb.dng", [] { return kit::TiffChain(3, kit::ChainEnd::kLoop); },
     Answer::kRefusal},
#ifndef VEXATHUMB_SANITIZED  // they take memory for themselves, where it is limited otherwise
    {"tiff_of_245_overlapping_entries", "bomb.tif",
     [] { return kit::OverlappingTiff(245, size_t{8} << 20); }, Answer::kRefusal},
#endif
    {"jpeg_and_garbage", "bomb.jpg",
     [] { return WithGarbage([](const std::string& path) { kit::WriteJpeg(path); }); },
     Answer::kPicture},
    {"png_and_garbage", "bomb.png",
     [] { return WithGarbage([](const std::string& path) { kit::WritePng(path); }); },
     Answer::kPicture},
    {"gif_and_garbage", "bomb.gif",
     [] { return WithGarbage([](const std::string& path) { kit::WriteGif(path); }); },
     Answer::kPicture},
};

class BombTest : public ::testing::TestWithParam<std::tuple<const char*, Bomb>> {};

TEST_P(BombTest, EndsWithinItsLimitsWithTheRightAnswer) {
  const auto& [engine, bomb] = GetParam();
  Album album;
  album.UseEngine(engine);
  kit::WriteFile(album / bomb.file, bomb.bytes());
  kit::Age(album / bomb.file);
  const auto start = std::chrono::steady_clock::now();
  const RunResult run =
      album.Run({"get", album / bomb.file, "--size", "small", "-o", album.Aside("out")});
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::cout << bomb.name << ": exit " << run.exit_code << ", " << wall.count() << " s, "
            << run.peak_kilobytes / 1024 << " MiB at most\n";

  EXPECT_LE(wall.count(), kWallLimit);
  EXPECT_LE(run.peak_kilobytes, kMostMemoryKib);
  EXPECT_THAT(run.leftovers, IsEmpty());
  EXPECT_THAT(run.exit_code, AnyOf(0, 1)) << run.err;
  if (bomb.answer == Answer::kRefusal) {
    EXPECT_EQ(run.exit_code, 1);
  }
  if (bomb.answer == Answer::kPicture) {
    EXPECT_EQ(kit::Corners(album.Aside("out")), kit::kPictureCorners);
  }
  if (run.exit_code == 0) {
    EXPECT_NO_THROW(kit::Examine(album.Aside("out")));
  }
  if (run.exit_code == 1) {
    EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
    EXPECT_FALSE(std::filesystem::exists(album.Aside("out")));
  }
}

INSTANTIATE_TEST_SUITE_P(Files, BombTest, ::testing::Combine(kEngines, ::testing::ValuesIn(kBombs)),
                         [](const auto& test) {
                           return std::string(std::get<1>(test.param).name) + "_by_" +
                                  std::get<0>(test.param);
                         });

}  // namespace
}  // namespace vexathumb::system_test
