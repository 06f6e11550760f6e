#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using kit::CaseName;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// An album of one photo, with its thumbnails.
class Verify : public ::testing::Test {
 protected:
  Verify() {
    album_.WriteSettings("[service]\nlock_dir = " + album_.Aside("locks") + "\n");
    kit::WriteJpeg(album_ / "a.jpg", {{1600, 1200}});
    album_.Run({"build", album_.pictures()});
  }

  // Replaces a thumbnail's content in its place, with the time that it had.
  void Overwrite(const std::string& entry, const std::string& content) const {
    struct stat st = {};
    ASSERT_EQ(stat(entry.c_str(), &st), 0);
    kit::WriteFile(entry, content);
    const struct timespec times[] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, entry.c_str(), times, 0), 0);
  }

  std::string small() const { return album_.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg"); }
  std::string big() const { return album_.Stored("a.jpg", "VEXAFILE_THUMB_B.jpg"); }

  const Album album_;
};

TEST_F(Verify, FindsNoFaultInWhatABuildHasMade) {
  for (const bool decode : {false, true}) {
    std::vector<std::string> arguments = {"verify", album_.pictures()};
    if (decode) arguments.push_back("--decode");
    const RunResult run = album_.Run(arguments);
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr("4 pictures, 0 faulty\n"));
    EXPECT_THAT(run.leftovers, IsEmpty());
  }
}

class VerifyOrientation : public Verify, public ::testing::WithParamInterface<int> {};

TEST_P(VerifyOrientation, FindsNoFaultInAThumbnailOfATurnedPhoto) {
  kit::JpegOptions options;
  options.size = {800, 600};
  options.orientation = GetParam();
  kit::WriteJpeg(album_ / "turned.jpg", options);
  album_.Run({"build", album_ / "turned.jpg"});
  const RunResult run = album_.Run({"verify", "--decode", album_ / "turned.jpg"});
  EXPECT_EQ(run.exit_code, 0) << run.out;
  EXPECT_EQ(run.err, "");
}

INSTANTIATE_TEST_SUITE_P(Orientations, VerifyOrientation, ::testing::Range(1, 9));

TEST_F(Verify, FindsNoFaultInASmallThumbnailOfALargePhoto) {
  kit::WriteJpeg(album_ / "large.jpg", {{4640, 3480}});
  album_.Run({"build", album_ / "large.jpg"});
  const RunResult run = album_.Run({"verify", album_ / "large.jpg"});
  EXPECT_EQ(run.exit_code, 0) << run.out;
}

TEST_F(Verify, FindsNoFaultInTheSmallPreviewOfARawFile) {
  kit::DngOptions raw;
  raw.size = {1600, 1200};
  raw.preview = kit::RawPreview::kJpegStrip;
  raw.preview_size = {800, 600};
  kit::WriteDng(album_ / "raw.dng", raw);
  album_.Run({"build", album_ / "raw.dng"});
  const RunResult run = album_.Run({"verify", "--decode", album_ / "raw.dng"});
  EXPECT_EQ(run.exit_code, 0) << run.out;
  EXPECT_THAT(run.out, HasSubstr(", 0 faulty"));
}

struct FaultCase {
  const char* name;
  const char* told;
  std::function<std::string(const std::string& whole)> content;
  bool needs_decoding = false;
};

void PrintTo(const FaultCase& fault, std::ostream* out) { *out << fault.name; }

class VerifyFault : public Verify, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(VerifyFault, IsToldAndMendedWhenAskedTo) {
  const std::string whole = kit::ReadFile(big());
  Overwrite(big(), GetParam().content(whole));
  std::vector<std::string> arguments = {"verify", album_.pictures()};
  if (GetParam().needs_decoding) {
    EXPECT_EQ(album_.Run(arguments).exit_code, 0);
    arguments.push_back("--decode");
  }
  const RunResult told = album_.Run(arguments);
  EXPECT_EQ(told.exit_code, 1);
  EXPECT_EQ(told.out, big() + ": " + GetParam().told + "\n4 pictures, 1 faulty\n");
  EXPECT_NE(kit::ReadFile(big()), whole) << "nothing is changed unless asked to";

  arguments.push_back("--repair");
  const RunResult repaired = album_.Run(arguments);
  EXPECT_EQ(repaired.exit_code, 0) << repaired.out << repaired.err;
  EXPECT_THAT(repaired.out, HasSubstr("4 pictures, 1 faulty, 0 of them left as they are\n"));
  EXPECT_EQ(kit::Corners(big()), kit::kPictureCorners);
  EXPECT_THAT(album_.Run({"verify", "--decode", album_.pictures()}).out,
              HasSubstr("4 pictures, 0 faulty\n"));
}

std::string JpegOf(const std::function<void(const std::string&)>& write) {
  const kit::TempDir dir;
  write(dir / "picture");
  return kit::RunTool({"/usr/bin/convert", dir / "picture", "-resize", "640x640>", "jpeg:-"});
}

INSTANTIATE_TEST_SUITE_P(
    Faults, VerifyFault,
    ::testing::Values(
        FaultCase{"empty", "no picture", [](const auto&) { return std::string(); }},
        FaultCase{"zeros", "no picture",
                  [](const auto& whole) { return std::string(whole.size(), '\0'); }},
        FaultCase{"half", "cut short",
                  [](const auto& whole) { return whole.substr(0, whole.size() / 2); }},
        FaultCase{"without_its_end", "cut short",
                  [](const auto& whole) { return whole.substr(0, whole.size() - 2); }},
        FaultCase{"zeros_at_its_end", "cut short",
                  [](const auto& whole) {
                    return whole.substr(0, whole.size() / 2) +
                           std::string(whole.size() - whole.size() / 2, '\0');
                  }},
        FaultCase{"a_stamp", "wrong size",
                  [](const auto&) {
                    return JpegOf([](const auto& path) { kit::WriteJpeg(path, {{40, 30}}); });
                  }},
        FaultCase{"a_square", "wrong size",
                  [](const auto&) {
                    return JpegOf([](const auto& path) { kit::WriteJpeg(path, {{700, 700}}); });
                  }},
        FaultCase{"another_photo", "other picture",
                  [](const auto&) {
                    return JpegOf([](const auto& path) {
                      kit::JpegOptions options;
                      options.size = {1600, 1200};
                      options.orientation = 3;
                      kit::WriteJpeg(path, options);  // stored upside down
                    });
                  },
                  true},
        FaultCase{"garbage_within", "undecodable",
                  [](const auto& whole) {
                    return whole.substr(0, 20) + std::string(whole.size() - 22, 'x') +
                           whole.substr(whole.size() - 2);
                  },
                  true}),
    CaseName());

TEST_F(Verify, TellsAPictureOfASourceThatIsNotThereAnyMore) {
  struct stat st = {};
  ASSERT_EQ(stat((album_ / "a.jpg").c_str(), &st), 0);
  kit::WriteJpeg(album_ / "b.jpg", {{800, 600}});
  const struct timespec times[] = {st.st_atim, {st.st_mtim.tv_sec, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (album_ / "b.jpg").c_str(), times, 0), 0);
  fs::rename(album_ / "b.jpg", album_ / "a.jpg");
  const RunResult run = album_.Run({"verify", "--json", album_.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  const std::vector<Json> lines = run.json_lines();
  ASSERT_EQ(lines.size(), 5U) << run.out;
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(lines[i]["fault"], "other picture");
  EXPECT_EQ(lines[4]["faulty"], 4);
}

TEST_F(Verify, LeavesThePhotoAlbumsPicturesToThePhotoAlbum) {
  album_.Store("a.jpg", "VEXAPHOTO_THUMB_B.jpg", big());
  const std::string entry = album_.Stored("a.jpg", "VEXAPHOTO_THUMB_B.jpg");
  const std::string half = kit::ReadFile(big()).substr(0, 1000);
  Overwrite(entry, half);
  const RunResult run = album_.Run({"verify", "--repair", album_.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.out, HasSubstr(entry + ": cut short; the photo album's own to make again\n"));
  EXPECT_EQ(kit::ReadFile(entry), half);
}

TEST_F(Verify, AnOutdatedThumbnailIsNoFault) {
  fs::last_write_time(album_ / "a.jpg",
                      fs::last_write_time(album_ / "a.jpg") + std::chrono::hours(1));
  EXPECT_EQ(album_.Run({"verify", album_.pictures()}).exit_code, 0);
}

}  // namespace
}  // namespace vexathumb::system_test
