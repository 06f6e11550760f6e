#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::IsEmpty;
using Write = void (*)(const std::string& path);

const std::vector<std::string> kSizes = {"small", "medium", "big", "large", "xlarge", "original"};

struct SourceCase {
  const char* name;
  const char* file;
  Write write;
  bool browser_shows_it;
  const char* corners = kit::kPictureCorners;
};

void PrintTo(const SourceCase& source, std::ostream* out) { *out << source.name; }

constexpr kit::Size kLarge = {1600, 1200};

class EverySource : public ::testing::TestWithParam<SourceCase> {};

TEST_P(EverySource, IsUprightAtEverySizeAndLeavesNothingBehind) {
  const Album album;
  const SourceCase& source = GetParam();
  const std::string file = album / source.file;
  source.write(file);
  for (const std::string& size : kSizes) {
    SCOPED_TRACE(size);
    const RunResult run = album.Run({"get", file, "--size", size, "--json"});
    EXPECT_THAT(run.leftovers, IsEmpty());
    const Json answer = run.json();
    EXPECT_EQ(answer["file"], file);
    EXPECT_EQ(answer["size"], size);
    if (size == "original" && !source.browser_shows_it) {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
      EXPECT_TRUE(answer["error"].is_string());
      EXPECT_TRUE(answer["output"].is_null());
      continue;
    }
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_TRUE(answer["error"].is_null());
    const kit::PictureInfo picture = kit::Examine(answer["output"]);
    EXPECT_EQ(answer["width"], picture.width);
    EXPECT_EQ(answer["height"], picture.height);
    EXPECT_EQ(answer["bytes"], std::filesystem::file_size(std::string(answer["output"])));
    EXPECT_GE(answer["ms"], 0);
    EXPECT_EQ(kit::Corners(answer["output"]), source.corners);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Get, EverySource,
    ::testing::Values(
        SourceCase{"jpeg", "a.jpg", [](const std::string& p) { kit::WriteJpeg(p, {kLarge}); },
                   true},
        SourceCase{"jpeg_that_fits", "a.jpg",
                   [](const std::string& p) {
                     kit::WriteJpeg(p, {{100, 80}});
                   },
                   true},
        SourceCase{"png", "a.png", [](const std::string& p) { kit::WritePng(p, {kLarge}); }, true},
        SourceCase{"transparent_png", "a.png",
                   [](const std::string& p) { kit::WriteTransparentPng(p); }, true,
                   "red green blue transparent"},
        SourceCase{"gif", "a.gif", [](const std::string& p) { kit::WriteGif(p); }, true},
        SourceCase{"animated_gif", "a.gif", [](const std::string& p) { kit::WriteAnimatedGif(p); },
                   true},
        SourceCase{"bmp", "a.bmp", [](const std::string& p) { kit::WriteBmp(p); }, true},
        SourceCase{"tiff", "a.tif", [](const std::string& p) { kit::WriteTiff(p, {kLarge}); },
                   false},
        SourceCase{"webp", "a.webp", [](const std::string& p) { kit::WriteWebp(p); }, false},
        SourceCase{"heic", "a.heic",
                   [](const std::string& p) {
                     kit::WriteHeic(p, {kLarge, 6});
                   },
                   false},
        SourceCase{"avif", "a.avif", [](const std::string& p) { kit::WriteAvif(p); }, false},
        SourceCase{"dng", "a.dng", [](const std::string& p) { kit::WriteDng(p); }, false,
                   kit::kPreviewCorners},
        SourceCase{"name_of_another_type", "a.txt",
                   [](const std::string& p) { kit::WriteJpeg(p, {kLarge}); }, true}),
    kit::CaseName());

class EveryOrientation : public ::testing::TestWithParam<int> {};

TEST_P(EveryOrientation, IsShownUpright) {
  const Album album;
  const int orientation = GetParam();
  kit::WriteJpeg(album / "plain.jpg", {{800, 600}, orientation});
  kit::WriteJpeg(album / "preview.jpg", {{800, 600}, orientation, kit::Size{160, 120}});
  kit::WritePng(album / "a.png", {{800, 600}, orientation});
  kit::WriteHeic(album / "a.heic", {{800, 600}, orientation});
  const std::vector<std::pair<const char*, std::string>> expectations = {
      {"plain.jpg", kit::kPictureCorners},
      {"preview.jpg", kit::kPreviewCorners},
      {"a.png", kit::kPictureCorners},
      {"a.heic", kit::kPictureCorners},
  };
  for (const auto& [name, corners] : expectations) {
    SCOPED_TRACE(name);
    const RunResult run = album.Run({"get", album / name, "--size", "small", "--json"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(kit::Corners(run.json()["output"]), corners);
  }
}

INSTANTIATE_TEST_SUITE_P(Get, EveryOrientation, ::testing::Range(1, 9));

// The library takes a preview that need not be turned as it is, so that a mirror alone is not
// undone.
TEST(Get, TellsWhatTheLibraryAloneAnswers) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 2, kit::Size{160, 120}});
  const std::vector<std::string> get = {"get", album / "a.jpg", "--size", "small", "--json"};
  std::vector<std::string> of_library = get;
  of_library.emplace_back("--library");
  const std::string stored_as_it_is = kit::StoredCorners(kit::kPreviewCorners, 2);
  EXPECT_EQ(kit::Corners(album.Run(of_library).json()["output"]), stored_as_it_is);
  std::filesystem::remove_all(album / ".vexaea");
  EXPECT_EQ(kit::Corners(album.Run(get).json()["output"]), kit::kPreviewCorners);
}

struct RotateCase {
  const char* name;
  const char* turns;
  const char* corners;
};

void PrintTo(const RotateCase& rotate, std::ostream* out) { *out << rotate.name; }

constexpr RotateCase kRotateCases[] = {
    {"none", "0", "red green blue yellow"},          {"one", "1", "blue red yellow green"},
    {"two", "2", "yellow blue green red"},           {"three", "3", "green yellow red blue"},
    {"full_circle", "4", "red green blue yellow"},   {"one_back", "-1", "green yellow red blue"},
    {"many", "1000000001", "blue red yellow green"},
};

class Rotate : public ::testing::TestWithParam<RotateCase> {};

TEST_P(Rotate, TurnsClockwiseWhatIsMade) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run(
      {"get", album / "a.jpg", "--box", "320x320", "--rotate", GetParam().turns, "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(kit::Corners(run.json()["output"]), GetParam().corners);
}

TEST_P(Rotate, TurnsAStoredPhotoAlbumThumbnailOnItsWayOut) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 6});
  kit::WriteJpeg(album.Aside("stored.jpg"), {{320, 240}});
  album.Store("a.jpg", "VEXAPHOTO_THUMB_M.jpg", album.Aside("stored.jpg"));
  album.WriteSettings(album.IndexedShare());
  const std::string stored = album.Stored("a.jpg", "VEXAPHOTO_THUMB_M.jpg");
  const std::string before = Identity(stored);
  const std::string out = album.Aside("out.jpg");
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "medium", "--rotate",
                                   GetParam().turns, "-o", out, "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.json()["from"], "Pixdeck");
  EXPECT_EQ(kit::Corners(out), GetParam().corners);
  EXPECT_EQ(run.json()["width"], kit::Examine(out).width);
  EXPECT_EQ(Identity(stored), before);
}

INSTANTIATE_TEST_SUITE_P(Get, Rotate, ::testing::ValuesIn(kRotateCases), kit::CaseName());

struct OptionCase {
  const char* name;
  std::vector<std::string> options;
  bool indexed;
  const char* from;    // empty: no thumbnail
  const char* output;  // the name of the file that answers
};

void PrintTo(const OptionCase& option, std::ostream* out) { *out << option.name; }

class Options : public ::testing::TestWithParam<OptionCase> {};

// The store holds a photo-album thumbnail "medium" and a current file-manager thumbnail "small".
TEST_P(Options, ChooseTheSource) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  kit::WriteJpeg(album.Aside("stored.jpg"), {{120, 90}});
  album.Store("a.jpg", "VEXAPHOTO_THUMB_M.jpg", album.Aside("stored.jpg"));
  album.Store("a.jpg", "VEXAFILE_THUMB_S.jpg", album.Aside("stored.jpg"));
  std::filesystem::last_write_time(album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg"),
                                   std::filesystem::last_write_time(album / "a.jpg"));
  if (GetParam().indexed) album.WriteSettings(album.IndexedShare());
  std::vector<std::string> arguments = {"get", "--json", album / "a.jpg"};
  arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
  const RunResult run = album.Run(arguments);
  const Json answer = run.json();
  const std::string from = GetParam().from;
  EXPECT_EQ(run.exit_code, from.empty() ? 1 : 0) << run.err;
  if (from.empty()) {
    EXPECT_TRUE(answer["from"].is_null());
    EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
    return;
  }
  EXPECT_EQ(answer["from"], from);
  EXPECT_EQ(std::filesystem::path(std::string(answer["output"])).filename(), GetParam().output);
}

INSTANTIATE_TEST_SUITE_P(
    Get, Options,
    ::testing::Values(
        OptionCase{
            "photo_album_first", {"--size", "medium"}, true, "Pixdeck", "VEXAPHOTO_THUMB_M.jpg"},
        OptionCase{"not_on_unindexed_shares",
                   {"--size", "medium"},
                   false,
                   "Docdeck",
                   "VEXAFILE_THUMB_M.jpg"},
        OptionCase{"any_share",
                   {"--size", "medium", "--any-share"},
                   false,
                   "Pixdeck",
                   "VEXAPHOTO_THUMB_M.jpg"},
        OptionCase{"file_manager_alone",
                   {"--size", "medium", "--store", "docdeck"},
                   true,
                   "Docdeck",
                   "VEXAFILE_THUMB_M.jpg"},
        OptionCase{"both_stores_named",
                   {"--size", "medium", "--store", "pixdeck,docdeck"},
                   true,
                   "Pixdeck",
                   "VEXAPHOTO_THUMB_M.jpg"},
        OptionCase{"stored_and_current",
                   {"--size", "small", "--only-stored"},
                   false,
                   "Docdeck",
                   "VEXAFILE_THUMB_S.jpg"},
        OptionCase{"photo_album_alone_has_no_small",
                   {"--size", "small", "--only-stored", "--store", "pixdeck"},
                   true,
                   "",
                   ""},
        OptionCase{"not_stored", {"--size", "big", "--only-stored"}, true, "", ""},
        OptionCase{"smaller_will_do",
                   {"--size", "big", "--only-stored", "--smaller"},
                   true,
                   "Pixdeck",
                   "VEXAPHOTO_THUMB_M.jpg"},
        OptionCase{
            "avatar", {"--size", "small", "--avatar"}, true, "Docdeck", "VEXAAVATAR_120x120.jpg"},
        OptionCase{"avatar_of_a_box",
                   {"--box", "96x96", "--avatar"},
                   true,
                   "Docdeck",
                   "VEXAAVATAR_96x96.jpg"},
        OptionCase{"box", {"--box", "320x240"}, true, "Docdeck", "VEXAFILE_THUMB_320x240.jpg"},
        OptionCase{"original", {"--size", "original"}, true, "Original", "a.jpg"}),
    kit::CaseName());

TEST(Get, KeepsAnimationsOnlyWhenAsked) {
  const Album album;
  kit::WriteAnimatedGif(album / "a.gif");
  const Json moving =
      album.Run({"get", album / "a.gif", "--size", "small", "--gif", "--json"}).json();
  EXPECT_EQ(moving["mime"], "image/gif");
  EXPECT_EQ(kit::Examine(moving["output"]).frames, 3);
  const Json still = album.Run({"get", album / "a.gif", "--size", "small", "--json"}).json();
  EXPECT_EQ(still["mime"], "image/jpeg");
  EXPECT_EQ(kit::Examine(still["output"]).frames, 1);
}

TEST(Get, PrintsThePathAndWhereItCameFrom) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run =
      album.Run({"get", "a.jpg", "--size", "small"}, {album.pictures(), {}, "", false});
  EXPECT_EQ(run.out, album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg") + "\tDocdeck\n");
}

struct SourceFailure {
  const char* name;
  int exit_code;
  Write write;
};

void PrintTo(const SourceFailure& failure, std::ostream* out) { *out << failure.name; }

class BadSource : public ::testing::TestWithParam<SourceFailure> {};

TEST_P(BadSource, IsAnsweredWithACodeAndALine) {
  const Album album;
  const std::string file = album / "a.jpg";
  GetParam().write(file);
  for (const char* command : {"get", "info", "build"}) {
    SCOPED_TRACE(command);
    std::vector<std::string> arguments = {command, file, "--json"};
    if (arguments[0] == "get") arguments.insert(arguments.end(), {"--size", "big"});
    const RunResult run = album.Run(arguments);
    // What cannot be made a thumbnail of can still be told about.
    const bool is_told = arguments[0] == "info" && run.exit_code == 0;
    if (!is_told) {
      EXPECT_EQ(run.exit_code, GetParam().exit_code);
      EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
    }
    EXPECT_THAT(run.leftovers, IsEmpty());
    EXPECT_TRUE(run.json_lines().at(0).is_object());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Get, BadSource,
    ::testing::Values(
        SourceFailure{"missing", 3, [](const std::string&) {}},
        SourceFailure{"dangling_link", 3,
                      [](const std::string& p) { std::filesystem::create_symlink("/none", p); }},
        SourceFailure{"fifo", 3, [](const std::string& p) { kit::WriteFifo(p); }},
        SourceFailure{"socket", 3, [](const std::string& p) { kit::WriteSocket(p); }},
        SourceFailure{"empty", 1, [](const std::string& p) { kit::WriteFile(p, ""); }},
        SourceFailure{"text", 1, [](const std::string& p) { kit::WriteFile(p, kNoPicture); }},
        SourceFailure{"postscript", 1,
                      [](const std::string& p) { kit::WriteFile(p, kit::EpsContent()); }},
        SourceFailure{"video", 1,
                      [](const std::string& p) { kit::WriteFile(p, kit::QuickTimeContent()); }},
        SourceFailure{"cut_png", 1,
                      [](const std::string& p) {
                        kit::WritePng(p, {{800, 600}});
                        kit::WriteFile(p, kit::ReadFile(p).substr(0, 40));
                      }},
        SourceFailure{
            "broken_orientation", 1,
            [](const std::string& p) {
              kit::WriteJpeg(p, {{800, 600}});
              kit::AddExif(p, {{"Exif.Image.Orientation", "sideways", Exiv2::asciiString}});
            }}),
    kit::CaseName());

TEST(Get, NamesAFolderAsTheCause) {
  const Album album;
  const RunResult run = album.Run({"get", album.pictures(), "--size", "big"});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_THAT(run.err, ::testing::HasSubstr("is a folder"));
}

TEST(Get, AVideoHasItsStoredScreenshotOrNothing) {
  const Album album;
  kit::WriteFile(album / "a.mp4", kit::QuickTimeContent());
  const RunResult none = album.Run({"get", album / "a.mp4", "--size", "big", "--any-share"});
  EXPECT_EQ(none.exit_code, 1);
  kit::WriteJpeg(album.Aside("shot.jpg"));
  album.Store("a.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", album.Aside("shot.jpg"));
  const RunResult shot = album.Run({"get", album / "a.mp4", "--size", "big", "--any-share"});
  EXPECT_EQ(shot.out, album.Stored("a.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg") + "\tReeldeck\n");
}

}  // namespace
}  // namespace vexathumb::system_test
