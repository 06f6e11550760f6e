#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Write = void (*)(const std::string& path);

TEST(Info, TellsWhatThePictureIs) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 7, kit::Size{160, 120}});
  const Json info = album.Run({"info", album / "a.jpg", "--json"}).json();
  EXPECT_EQ(info["file"], album / "a.jpg");
  EXPECT_EQ(info["mime"], "image/jpeg");
  EXPECT_EQ(info["width"], 600);
  EXPECT_EQ(info["height"], 800);
  EXPECT_EQ(info["bytes"], std::filesystem::file_size(album / "a.jpg"));
  EXPECT_EQ(info["turns"], 3);
  EXPECT_EQ(info["mirrored"], true);
  EXPECT_EQ(info["indexed"], false);
  ASSERT_EQ(info["previews"].size(), 1);
  EXPECT_EQ(info["previews"][0]["mime"], "image/jpeg");
  EXPECT_EQ(info["previews"][0]["width"], 120);
  EXPECT_EQ(info["previews"][0]["height"], 160);
  for (const char* field : {"size", "from", "output", "ms", "error"}) {
    EXPECT_TRUE(info.at(field).is_null()) << field;
  }
}

TEST(Info, TellsTheStoreNamesAndWhichAreThere) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 6});
  kit::WriteJpeg(album.Aside("stored.jpg"), {{120, 90}});
  album.Store("a.jpg", "VEXAPHOTO_THUMB_S.jpg", album.Aside("stored.jpg"));
  const auto old = std::filesystem::last_write_time(album / "a.jpg") - std::chrono::hours(1);
  std::filesystem::last_write_time(album.Stored("a.jpg", "VEXAPHOTO_THUMB_S.jpg"), old);
  album.Run({"build", album / "a.jpg", "--sizes", "small"});

  const Json small = album.Run({"info", album / "a.jpg", "--json"}).json()["sizes"][0];
  EXPECT_EQ(small["size"], "small");
  const auto entry = [&](const char* application, const char* name, bool exists, bool current) {
    return Json{{"application", application},
                {"path", album.Stored("a.jpg", name)},
                {"exists", exists},
                {"current", current}};
  };
  EXPECT_EQ(small["stored"],
            Json::array({entry("Pixdeck", "VEXAPHOTO_THUMB_S.jpg", true, false),
                         entry("Pixdeck, former scheme", "VEXAPHOTO:THUMB_S.jpg", false, false),
                         entry("Docdeck", "VEXAFILE_THUMB_S_r1.jpg", true, true),
                         entry("Avatar", "VEXAAVATAR_120x120_r1.jpg", false, false)}));
  EXPECT_EQ(small["from"], "Docdeck");
}

struct ForecastCase {
  const char* name;
  const char* file;
  Write write;
};

void PrintTo(const ForecastCase& forecast, std::ostream* out) { *out << forecast.name; }

class Forecast : public ::testing::TestWithParam<ForecastCase> {};

TEST_P(Forecast, IsWhatGetThenAnswersAndChangesNothing) {
  const Album album;
  const std::string file = album / GetParam().file;
  GetParam().write(file);
  const std::string before = SnapshotOf(album.pictures());
  const RunResult run = album.Run({"info", file, "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_THAT(run.leftovers, IsEmpty());
  EXPECT_EQ(SnapshotOf(album.pictures()), before);
  const Json info = run.json();
  ASSERT_EQ(info["sizes"].size(), 6);
  for (const Json& size : info["sizes"]) {
    SCOPED_TRACE(size.dump());
    const Json answer = album.Run({"get", file, "--size", size["size"], "--json"}).json();
    EXPECT_EQ(size["from"], answer["from"]);
    EXPECT_EQ(size["output"], answer["output"]);
    EXPECT_EQ(size["mime"], answer["mime"]);
    std::filesystem::remove_all(album / ".vexaea");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Info, Forecast,
    ::testing::Values(
        ForecastCase{"large_jpeg", "a.jpg",
                     [](const std::string& p) {
                       kit::WriteJpeg(p, {{1600, 1200}});
                     }},
        ForecastCase{"jpeg_of_no_large", "a.jpg",
                     [](const std::string& p) {
                       kit::WriteJpeg(p, {{1400, 700}});
                     }},
        ForecastCase{"jpeg_with_preview", "a.jpg",
                     [](const std::string& p) {
                       kit::WriteJpeg(p, {{800, 600}, 6, kit::Size{160, 120}});
                     }},
        ForecastCase{
            "jpeg_with_large_preview", "a.jpg",
            [](const std::string& p) {
              kit::WriteJpeg(p, {{1600, 1200}, 1, kit::Size{160, 120}, kit::Size{640, 480}});
            }},
        ForecastCase{"png", "a.png", [](const std::string& p) { kit::WritePng(p); }},
        ForecastCase{"animated_gif", "a.gif",
                     [](const std::string& p) { kit::WriteAnimatedGif(p); }},
        ForecastCase{"bmp", "a.bmp", [](const std::string& p) { kit::WriteBmp(p); }},
        ForecastCase{"webp", "a.webp", [](const std::string& p) { kit::WriteWebp(p); }},
        ForecastCase{"heic", "a.heic", [](const std::string& p) { kit::WriteHeic(p); }},
        ForecastCase{"dng", "a.dng", [](const std::string& p) { kit::WriteDng(p); }},
        ForecastCase{"video", "a.mp4",
                     [](const std::string& p) { kit::WriteFile(p, kit::QuickTimeContent()); }}),
    kit::CaseName());

struct StoredCase {
  const char* name;
  const char* file;
  const char* entry;
  bool indexed;
  bool current;
  const char* from;
};

void PrintTo(const StoredCase& stored, std::ostream* out) { *out << stored.name; }

class StoredForecast : public ::testing::TestWithParam<StoredCase> {};

TEST_P(StoredForecast, IsWhatGetThenAnswers) {
  const Album album;
  const StoredCase& stored = GetParam();
  const std::string file = album / stored.file;
  if (std::string(stored.file) == "a.mp4") {
    kit::WriteFile(file, kit::QuickTimeContent());
  } else {
    kit::WriteJpeg(file, {{800, 600}});
  }
  kit::WriteJpeg(album.Aside("stored.jpg"), {{120, 90}});
  album.Store(stored.file, stored.entry, album.Aside("stored.jpg"));
  const auto time = std::filesystem::last_write_time(file) -
                    (stored.current ? std::chrono::hours(0) : std::chrono::hours(1));
  std::filesystem::last_write_time(album.Stored(stored.file, stored.entry), time);
  if (stored.indexed) album.WriteSettings(album.IndexedShare());

  const Json small = album.Run({"info", file, "--json"}).json()["sizes"][0];
  const Json answer = album.Run({"get", file, "--size", "small", "--json"}).json();
  EXPECT_EQ(small["from"], answer["from"]);
  EXPECT_EQ(small["output"], answer["output"]);
  EXPECT_EQ(answer["from"], *stored.from == '\0' ? Json() : Json(stored.from));
}

INSTANTIATE_TEST_SUITE_P(
    Info, StoredForecast,
    ::testing::Values(
        StoredCase{"photo_album", "a.jpg", "VEXAPHOTO_THUMB_S.jpg", true, false, "Pixdeck"},
        StoredCase{"photo_album_former", "a.jpg", "VEXAPHOTO:THUMB_S.jpg", true, false, "Pixdeck"},
        StoredCase{"photo_album_not_indexed", "a.jpg", "VEXAPHOTO_THUMB_S.jpg", false, true,
                   "Docdeck"},
        StoredCase{"file_manager", "a.jpg", "VEXAFILE_THUMB_S.jpg", false, true, "Docdeck"},
        StoredCase{"file_manager_out_of_date", "a.jpg", "VEXAFILE_THUMB_S.jpg", false, false,
                   "Docdeck"},
        StoredCase{"video", "a.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", true, false, "Reeldeck"},
        StoredCase{"video_not_indexed", "a.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", false, true,
                   ""}),
    kit::CaseName());

TEST(Info, ForetellsATemporaryFileOnAVolumeWithoutStore) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const Json info =
      album
          .Run({"info", album / "a.jpg", "--json"}, {"", album.Spied("SPY_REMOTE", "1"), "", false})
          .json();
  EXPECT_EQ(info["sizes"][0]["from"], "DocdeckVarTmp");
  EXPECT_TRUE(info["sizes"][0]["output"].is_null());
}

TEST(Info, IsReadableByPeople) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 6, kit::Size{160, 120}});
  const RunResult run = album.Run({"info", album / "a.jpg"});
  EXPECT_THAT(run.out, HasSubstr("type         image/jpeg\n"));
  EXPECT_THAT(run.out, HasSubstr("pixels       600x800 as stored\n"));
  EXPECT_THAT(run.out, HasSubstr("orientation  1 quarter turns clockwise\n"));
  EXPECT_THAT(run.out, HasSubstr("preview      image/jpeg 120x160, "));
  EXPECT_THAT(run.out, ::testing::ContainsRegex("original +Original +browsers show its type"));
}

}  // namespace
}  // namespace vexathumb::system_test
