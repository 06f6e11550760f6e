#include "service/index/source_build.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <tuple>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/ssim.h"
#include "kit/run_tool.h"
#include "service/build/reencoding.h"
#include "service/picture/content_type.h"
#include "service/picture/picture_renderer.h"
#include "service/store/build_slot.h"
#include "service/store/failure_record.h"
#include "service/store/store_files.h"
#include "thumb/libvexathumb.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"
#include "unit/service/x3f.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using kit::CaseName;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class SourceBuildTest : public ServiceTest {
 protected:
  SourceBuildTest() {
    build_.sizes = {kSmall, kMedium, kBig, kLarge, kExtraLarge};
    build_.lock_directory = options_.lock_directory;
    build_.limits = options_.limits;
  }

  SourceReport Build(const std::string& source) const { return BuildSource(source, build_); }

  SourceBuildOptions build_;
};

std::vector<BuildState> StatesIn(const SourceReport& report) {
  std::vector<BuildState> states;
  for (const BuiltSize& size : report.sizes) states.push_back(size.state);
  return states;
}

// A picture with as much detail as a photograph, in the format of the path's extension.
void WriteLandscape(const std::string& path, int orientation = 1) {
  const kit::TempDir folder;
  kit::PaintLandscape(folder / "a.ppm", {1600, 1200},
                      {7, {80, 120, 200}, {240, 200, 160}, {40, 60, 50}, 0.7F, 0.3F});
  const std::string colours = folder / "a.ppm";
  if (fs::path(path).extension() == ".dng") {
    kit::RunTool({"/usr/bin/convert", colours, "-quality", "92", folder / "a.jpg"});
    kit::WriteDngOf(path, colours, folder / "a.jpg");
  } else {
    kit::RunTool({"/usr/bin/convert", colours, "-quality", "92", path});
  }
  if (orientation != 1) {
    kit::AddExif(path, {{"Exif.Image.Orientation", std::to_string(orientation)}});
  }
  SetModificationTime(path, kSourceTime);
}

struct SharingCase {
  const char* name;
  const char* source;
  int orientation;
  std::vector<std::string> stored;  // of 1600 x 1200 pixels
};

void PrintTo(const SharingCase& sharing, std::ostream* out) { *out << sharing.name; }

class EngineTest : public SourceBuildTest,
                   public testing::WithParamInterface<std::tuple<const char*, SharingCase>> {};

// The library's own conversion of the same source, in the store of a copy.
void ConvertDirectly(const std::string& source, const std::string& copy) {
  fs::copy_file(source, copy);
  SetModificationTime(copy, kSourceTime);
  Thumb thumb(copy, Thumb::ANIMATE_GIF);
  thumb.CalcOutputFile(kOriginal);
  thumb.ConvertAll();
}

TEST_P(EngineTest, MakesWhatLooksAsTheLibraryHasIt) {
  const auto& [engine, c] = GetParam();
  SetEngine(engine);
  const std::string source = Picture(c.source);
  WriteLandscape(source, c.orientation);
  const SourceReport report = Build(source);
  EXPECT_EQ(report.state, BuildState::kBuilt);
  EXPECT_THAT(StatesIn(report),
              ElementsAre(BuildState::kBuilt, BuildState::kBuilt, BuildState::kBuilt,
                          BuildState::kBuilt, BuildState::kCurrent));
  const std::string copy = Picture(std::string("copy-") + c.source);
  ConvertDirectly(source, copy);
  for (const std::string& entry : c.stored) {
    SCOPED_TRACE(entry);
    const std::string made = StorePath(source, entry);
    EXPECT_EQ(ModificationTimeOf(made), kSourceTime);
    EXPECT_NE(ContentTypeOf(made), kBmpType);
    const std::string direct = StorePath(copy, entry);
    Compact(direct, BuildOptions().quality);  // as the web service would
    // The library leaves JPEGs at a scale of its decoder, with as much noise of their own.
    const kit::PictureInfo pixels = kit::Examine(made);
    const bool is_scaled = kit::Examine(direct).width != pixels.width;
    kit::RunTool({"/usr/bin/mogrify", "-resize",
                  std::to_string(pixels.width) + "x" + std::to_string(pixels.height) + "!",
                  direct});
    EXPECT_GE(kit::Ssim(made, direct), is_scaled ? 0.93 : 0.95);
  }
  EXPECT_EQ(Stored(source).size(), c.stored.size());
}

std::vector<std::string> Entries(const std::string& end) {
  return {"VEXAFILE_THUMB_S" + end, "VEXAFILE_THUMB_M" + end, "VEXAFILE_THUMB_B" + end,
          "VEXAFILE_THUMB_XL" + end};
}

INSTANTIATE_TEST_SUITE_P(
    Formats, EngineTest,
    testing::Combine(testing::Values("auto", "tools"),
                     testing::Values(SharingCase{"Jpeg", "a.jpg", 1, Entries(".jpg")},
                                     SharingCase{"TurnedJpeg", "a.jpg", 6, Entries("_r1.jpg")},
                                     SharingCase{"MirroredJpeg", "a.jpg", 2, Entries(".jpg")},
                                     SharingCase{"Png", "a.png", 1, Entries(".png")},
                                     SharingCase{"TurnedTiff", "a.tif", 8, Entries("_r3.jpg")},
                                     SharingCase{"Webp", "a.webp", 1, Entries(".jpg")},
                                     SharingCase{"Bmp", "a.bmp", 1, Entries(".jpg")},
                                     SharingCase{"Raw", "a.dng", 1, Entries(".jpg")})),
    [](const auto& test) {
      return std::string(std::get<1>(test.param).name) + "By" + std::get<0>(test.param);
    });

TEST_F(SourceBuildTest, ARawPreviewIsExtractedOnce) {
  SetEngine("auto");
  if (PictureRenderer() == nullptr) GTEST_SKIP() << "built without libvips";
  const std::string source = Picture("a.dng");
  kit::WriteDng(source, {{1600, 1200}, kit::RawPreview::kJpeg, {1600, 1200}});
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
  EXPECT_EQ(machine_.Runs("dcraw"), 1);
  for (const char* entry : {"VEXAFILE_THUMB_S.jpg", "VEXAFILE_THUMB_XL.jpg"}) {
    EXPECT_EQ(kit::Corners(StorePath(source, entry)), kit::kPreviewCorners);
  }
}

TEST_F(SourceBuildTest, AnimationsStayAnimated) {
  const std::string source = Picture("a.gif");
  kit::WriteAnimatedGif(source, {400, 300}, 4);
  Build(source);
  EXPECT_EQ(kit::Examine(StorePath(source, "VEXAFILE_THUMB_S.gif")).frames, 4);
  EXPECT_EQ(kit::Examine(StorePath(source, "VEXAFILE_THUMB_M.gif")).frames, 4);
}

TEST_F(SourceBuildTest, AJpegThatItsDecoderRefusesIsConverted) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  machine_.Break("djpeg", ToolFault::kFails);
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
  EXPECT_EQ(machine_.Runs("djpeg"), 4);
  EXPECT_EQ(machine_.Runs("convert"), 4);
  EXPECT_EQ(kit::Examine(StorePath(source, "VEXAFILE_THUMB_S.jpg")).width, 120);
}

TEST_F(SourceBuildTest, WithoutCompactionTheDecodersDataStay) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  build_.build.compaction = false;
  Build(source);
  EXPECT_EQ(ContentTypeOf(StorePath(source, "VEXAFILE_THUMB_S.jpg")), kBmpType);
  EXPECT_EQ(machine_.Runs("cjpeg"), 0);
}

TEST_F(SourceBuildTest, OnlyWhatIsMissingIsMade) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {1600, 1200});
  Build(source);
  unlink(StorePath(source, "VEXAFILE_THUMB_M.jpg").c_str());
  const ino_t small = InodeOf(StorePath(source, "VEXAFILE_THUMB_S.jpg"));
  EXPECT_THAT(StatesIn(Build(source)),
              ElementsAre(BuildState::kCurrent, BuildState::kBuilt, BuildState::kCurrent,
                          BuildState::kCurrent, BuildState::kCurrent));
  EXPECT_EQ(InodeOf(StorePath(source, "VEXAFILE_THUMB_S.jpg")), small);
}

struct Turned {
  const char* name;
  const char* source;
  int orientation;
};

class SecondRunTest : public SourceBuildTest, public testing::WithParamInterface<Turned> {};

// The source's bytes are others by now, with its size and times as they were.
TEST_P(SecondRunTest, ReadsNoMetadata) {
  const std::string source = Picture(GetParam().source);
  WriteLandscape(source, GetParam().orientation);
  ASSERT_EQ(Build(source).state, BuildState::kBuilt);
  std::ofstream(source, std::ios::in) << std::string(fs::file_size(source), 'x');
  SetModificationTime(source, kSourceTime);
  EXPECT_EQ(Build(source).state, BuildState::kCurrent);
}

INSTANTIATE_TEST_SUITE_P(, SecondRunTest,
                         testing::Values(Turned{"Upright", "a.jpg", 1},
                                         Turned{"Turned", "a.jpg", 6}, Turned{"Png", "a.png", 1},
                                         Turned{"Tiff", "a.tif", 1}),
                         CaseName());

TEST_F(SourceBuildTest, AnEmptyEntryIsNotCurrent) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {200, 150});
  WriteStored(source, "VEXAFILE_THUMB_S.jpg", "");
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
}

TEST_F(SourceBuildTest, AFailureIsRememberedWithItsReason) {
  const std::string source = Picture("a.jpg");
  WriteUndecodable(source);
  const SourceReport report = Build(source);
  EXPECT_EQ(report.state, BuildState::kFailed);
  ASSERT_EQ(RecordedFailures(source).size(), 1U);
  EXPECT_EQ(RecordedFailures(source).front().reason, report.cause.text);
  const int runs = machine_.Runs();
  EXPECT_TRUE(Build(source).is_known_failure);
  EXPECT_EQ(machine_.Runs(), runs);
  build_.retry_failed = true;
  EXPECT_FALSE(Build(source).is_known_failure);
  EXPECT_GT(machine_.Runs(), runs);
  EXPECT_THAT(Stored(source), ElementsAre("VEXATHUMB_FAILURE.json"));
}

TEST_F(SourceBuildTest, WhatCannotBeDoneAtTheMomentIsPostponed) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {800, 600});
  machine_.on_run = [](const auto&, const auto&) { return ToolFault::kTerminated; };
  EXPECT_EQ(Build(source).state, BuildState::kPostponed);
  EXPECT_THAT(Stored(source), ElementsAre("VEXATHUMB_FAILURE.json"));
  const int runs = machine_.Runs();
  machine_.on_run = nullptr;
  const SourceReport meanwhile = Build(source);
  EXPECT_EQ(meanwhile.state, BuildState::kPostponed);
  EXPECT_THAT(meanwhile.cause.text, HasSubstr("was ended by signal 15"));
  EXPECT_EQ(machine_.Runs(), runs);
  machine_.clock_ahead = 61;
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
  EXPECT_THAT(Stored(source), Not(Contains("VEXATHUMB_FAILURE.json")));
}

struct PostponedCase {
  const char* name;
  ToolFault fault;
  BuildState state;
  const char* cause;
  bool remembered;
};

class EndedToolTest : public SourceBuildTest, public testing::WithParamInterface<PostponedCase> {};

TEST_P(EndedToolTest, IsTheSourcesFaultOnlyWhenItEndedByItself) {
  const std::string source = Picture("a.tif");
  kit::WriteTiff(source, {{800, 600}, 0});
  machine_.Break("convert", GetParam().fault);
  const SourceReport report = Build(source);
  EXPECT_EQ(report.state, GetParam().state);
  EXPECT_THAT(report.cause.text, HasSubstr(GetParam().cause));
  EXPECT_EQ(RecordedFailures(source).size(), GetParam().remembered ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , EndedToolTest,
    testing::Values(
        PostponedCase{"ByItself", ToolFault::kFails, BuildState::kFailed, "no tool could", true},
        PostponedCase{"ByACrash", ToolFault::kCrashes, BuildState::kFailed, "no tool could", true},
        PostponedCase{"ByALimit", ToolFault::kMeetsLimit, BuildState::kFailed,
                      "the program sh met its limit: address space of 1280 MiB", true},
        PostponedCase{"BySomebodysSignal", ToolFault::kTerminated, BuildState::kPostponed,
                      "the program sh was ended by signal 15, Terminated", true},
        PostponedCase{"ByTheKernel", ToolFault::kKilled, BuildState::kPostponed,
                      "the program sh was ended by signal 9, Killed", true},
        PostponedCase{"ByAQuota", ToolFault::kFindsNoQuota, BuildState::kPostponed,
                      "the program sh was stopped by the machine: Disk quota exceeded", true},
        PostponedCase{"BeforeItBegan", ToolFault::kMissing, BuildState::kPostponed,
                      "cannot be started", false}),
    kit::CaseName());

TEST_F(SourceBuildTest, AStoreDirectoryThatIsRemovedMeanwhileIsNotTheSourcesFault) {
  const std::string source = Picture("a.tif");
  kit::WriteTiff(source, {{800, 600}, 0});
  machine_.on_run = [&source](const auto&, const auto&) {
    std::filesystem::remove_all(StoreDirectoryOf(source));
    return ToolFault::kNone;
  };
  EXPECT_EQ(Build(source).state, BuildState::kPostponed);
  EXPECT_THAT(RecordedFailures(source), IsEmpty());
  machine_.on_run = nullptr;
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
}

TEST_F(SourceBuildTest, OneToolThatWasKilledLeavesNothingProvedByTheOthers) {
  const std::string source = Picture("a.dng");
  kit::WriteDng(source);
  machine_.on_run = [](const std::string& program, const auto&) {
    return program == "/usr/bin/dcraw" ? ToolFault::kKilled : ToolFault::kFails;
  };
  EXPECT_EQ(Build(source).state, BuildState::kPostponed);
}

TEST_F(SourceBuildTest, APathTooLongForAnyStoreIsAFailureWithThatCause) {
  std::string folder = share_.path();
  while (folder.size() < 3700) {
    folder += "/" + std::string(200, 'd');
    std::filesystem::create_directory(folder);
  }
  folder += "/" + std::string(3990 - folder.size(), 'd');
  std::filesystem::create_directory(folder);
  const std::string source = folder + "/" + std::string(88, 'a') + ".jpg";
  WritePhoto(source, {800, 600});
  const SourceReport report = Build(source);
  EXPECT_EQ(report.state, BuildState::kFailed);
  EXPECT_THAT(report.cause.text, HasSubstr("its path is too long"));
  EXPECT_THAT(report.cause.advice, HasSubstr("shorten"));
}

TEST_F(SourceBuildTest, ASourceThatChangesMeanwhileIsPostponed) {
  const std::string source = Picture("a.png");
  kit::WritePng(source, {{800, 600}});
  SetModificationTime(source, kSourceTime);
  machine_.on_run = [&](const auto&, const auto&) {
    SetModificationTime(source, kSourceTime + 1);
    return ToolFault::kNone;
  };
  const SourceReport report = Build(source);
  EXPECT_EQ(report.state, BuildState::kPostponed);
  EXPECT_EQ(report.cause.text, "it is being written");
  EXPECT_THAT(Stored(source), IsEmpty());
}

TEST_F(SourceBuildTest, StopsBetweenSizes) {
  const std::string source = Picture("a.png");
  kit::WritePng(source, {{1600, 1200}});
  SetModificationTime(source, kSourceTime);
  bool stop = false;
  build_.is_stopping = [&stop] { return stop; };
  machine_.on_run = [&stop](const auto&, const auto&) {
    stop = true;
    return ToolFault::kNone;
  };
  EXPECT_EQ(Build(source).state, BuildState::kPostponed);
  EXPECT_THAT(Stored(source), ElementsAre("VEXAFILE_THUMB_XL.png"));
}

TEST_F(SourceBuildTest, WaitsForThoseWhoBuildForTheSourceAndTakesTheirResult) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {800, 600});
  build_.sizes = {kBig};
  const Signal locked;
  const Signal done;
  Process other([&] {
    const SourceLock lock(options_.lock_directory, source);
    locked.Give();
    done.Await();
    WriteStored(source, "VEXAFILE_THUMB_B.jpg", "\xff\xd8\xff built by another");
    return 0;
  });
  locked.Await();
  Process builder([&] { return Build(source).state == BuildState::kCurrent ? 0 : 1; });
  done.Give();
  EXPECT_EQ(builder.Wait(), 0);
  EXPECT_EQ(machine_.Runs(), 0);
}

TEST_F(SourceBuildTest, ARequestForTheSourceIsAnsweredBetweenSizes) {
  const std::string kByAnother = "\x89PNG\r\n\x1a\n built by another";
  const std::string source = Picture("a.png");
  kit::WritePng(source, {{1600, 1200}});
  SetModificationTime(source, kSourceTime);
  const Signal begun;
  Process request([&] {
    begun.Await();
    const SourceLock lock(options_.lock_directory, source);
    if (!Stored(source).empty() && Stored(source).size() < 4) {
      WriteStored(source, "VEXAFILE_THUMB_S.png", kByAnother);
    }
    return 0;
  });
  machine_.on_run = [&](const auto&, const auto&) {
    begun.Give();
    const std::string line = "line.";  // of those who wait for a source
    const auto waits = [&] {
      for (const std::string& name : NamesIn(options_.lock_directory)) {
        if (name.rfind(line, 0) != 0) continue;
        if (!LockFile(options_.lock_directory, name).TryLock()) return true;
      }
      return false;
    };
    while (request.IsRunning() && !waits()) usleep(1000);
    return ToolFault::kNone;
  };
  EXPECT_THAT(StatesIn(Build(source)),
              ElementsAre(BuildState::kCurrent, BuildState::kBuilt, BuildState::kBuilt,
                          BuildState::kBuilt, BuildState::kCurrent));
  EXPECT_EQ(request.Wait(), 0);
  EXPECT_EQ(kit::ReadFile(StorePath(source, "VEXAFILE_THUMB_S.png")), kByAnother);
}

TEST_F(SourceBuildTest, FilesOfATypeThatOnlyDcrawKnowsAreBuilt) {
  const std::string source = Picture("a.x3f");
  WriteX3f(source);
  EXPECT_EQ(Build(source).state, BuildState::kBuilt);
}

}  // namespace
}  // namespace vexathumb::service
