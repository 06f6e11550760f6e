#include "service/serve/obtain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/bombs.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/picture/source_version.h"
#include "service/store/failure_record.h"
#include "unit/service/service_test.h"
#include "unit/service/x3f.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kJpeg[] = "\xff\xd8\xff\xe0 thumbnail";
constexpr char kBigEntry[] = "VEXAFILE_THUMB_B.jpg";
constexpr char kSmallEntry[] = "VEXAFILE_THUMB_S.jpg";
constexpr char kFailureEntry[] = "VEXATHUMB_FAILURE.json";

void FailAll(MachineDouble& machine) {
  machine.on_run = [](const auto&, const auto&) { return ToolFault::kFails; };
}

class ObtainTest : public ServiceTest {
 protected:
  ~ObtainTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()) << "nothing may be left"; }

  const std::string source_ = Picture("a.jpg");
};

struct OutcomeCase {
  const char* name;
  const char* source;
  std::function<void(const std::string& path)> write;
  std::function<void(ThumbnailRequest&)> change;
  Outcome outcome;
  const char* reason;
};

void Nothing(ThumbnailRequest& /*request*/) {}
void Original(ThumbnailRequest& request) { request = ForLabel(request.source, kOriginal); }
void OnlyStored(ThumbnailRequest& request) { request.only_stored = true; }
void WriteNothing(const std::string& /*path*/) {}
void WriteLargeJpeg(const std::string& path) { WritePhoto(path, {800, 600}); }

class OutcomeTest : public ObtainTest, public testing::WithParamInterface<OutcomeCase> {};

TEST_P(OutcomeTest, IsSaidWithAReasonWithoutPaths) {
  const OutcomeCase& c = GetParam();
  c.write(Picture(c.source));
  ThumbnailRequest request = ForLabel(Picture(c.source), kBig);
  c.change(request);
  const Thumbnail answer = Obtain(request);
  EXPECT_EQ(answer.outcome, c.outcome);
  EXPECT_EQ(answer.cause.text, c.reason);
  EXPECT_EQ(answer.path, "");
  EXPECT_NE(answer.owner, Owner::kCaller);
}

INSTANTIATE_TEST_SUITE_P(
    WithoutAPicture, OutcomeTest,
    testing::Values(
        OutcomeCase{"Missing", "a.jpg", WriteNothing, Nothing, Outcome::kMissing,
                    "there is no such file"},
        OutcomeCase{"MissingFolder", "no/a.jpg", WriteNothing, Nothing, Outcome::kMissing,
                    "there is no such file"},
        OutcomeCase{"DanglingLink", "a.jpg",
                    [](const auto& path) { std::filesystem::create_symlink("gone", path); },
                    Nothing, Outcome::kMissing, "there is no such file"},
        OutcomeCase{"NotStored", "a.jpg", WriteLargeJpeg, OnlyStored, Outcome::kNotStored,
                    "no thumbnail of it is stored"},
        OutcomeCase{"VideoNotStored", "a.mp4", WriteText, OnlyStored, Outcome::kNotStored,
                    "no thumbnail of it is stored"},
        OutcomeCase{"VideoWithoutScreenshot", "a.mp4", WriteText, Nothing, Outcome::kUnusable,
                    "a video without a stored screenshot"},
        OutcomeCase{"OriginalThatBrowsersCannotShow", "a.tif",
                    [](const auto& path) { kit::WriteTiff(path); }, Original, Outcome::kUnusable,
                    "browsers do not show its type"},
        OutcomeCase{"Text", "a.jpg", WriteText, Nothing, Outcome::kUnusable,
                    "its content is no picture of a known type"},
        OutcomeCase{"Undecodable", "a.jpg", WriteUndecodable, Nothing, Outcome::kUnusable,
                    "no tool could make a thumbnail of it"},
        OutcomeCase{"Empty", "a.jpg", [](const auto& path) { kit::WriteFile(path, ""); }, Nothing,
                    Outcome::kUnusable, "its metadata are damaged"},
        OutcomeCase{"Fifo", "a.jpg", [](const auto& path) { kit::WriteFifo(path); }, Nothing,
                    Outcome::kUnusable, "its metadata are damaged"},
        OutcomeCase{"BrokenOrientation", "a.jpg",
                    [](const auto& path) {
                      WriteLargeJpeg(path);
                      kit::AddExif(path, {{"Exif.Image.Orientation", "up", Exiv2::asciiString}});
                    },
                    Nothing, Outcome::kUnusable, "its orientation is not a number"}),
    CaseName());

TEST_F(ObtainTest, ASourceThatServesAsItIsIsThePicture) {
  WritePhoto(source_, {300, 200});
  const Thumbnail answer = Obtain(ForLabel(source_, kBig));
  EXPECT_EQ(answer.outcome, Outcome::kPicture);
  EXPECT_EQ(answer.path, source_);
  EXPECT_EQ(answer.mime, "image/jpeg");
  EXPECT_NE(answer.owner, Owner::kCaller);
  EXPECT_EQ(machine_.Runs(), 0);
  EXPECT_FALSE(std::filesystem::exists(share_ / ".vexaea"));
}

TEST_F(ObtainTest, AnOriginalIsTheSourceWhateverItsSize) {
  WritePhoto(source_, {2000, 1000}, 6);
  const Thumbnail answer = Obtain(ForLabel(source_, kOriginal));
  EXPECT_EQ(answer.path, source_);
  EXPECT_EQ(machine_.Runs(), 0);
}

TEST_F(ObtainTest, ABmpHasTheTypeThatBrowsersKnow) {
  kit::WriteBmp(Picture("a.bmp"), {40, 30});
  EXPECT_EQ(Obtain(ForLabel(Picture("a.bmp"), kBig)).mime, "image/bmp");
}

TEST_F(ObtainTest, BuildsAndFindsItAgain) {
  WritePhoto(source_, {1600, 1200});
  const Thumbnail built = Obtain(ForLabel(source_, kBig));
  EXPECT_EQ(built.outcome, Outcome::kPicture);
  EXPECT_EQ(built.path, StorePath(source_, kBigEntry));
  const ino_t inode = InodeOf(built.path);
  const int runs = machine_.Runs();
  const Thumbnail found = Obtain(ForLabel(source_, kBig));
  EXPECT_EQ(found.path, built.path);
  EXPECT_EQ(found.mime, "image/jpeg");
  EXPECT_NE(found.owner, Owner::kCaller);
  EXPECT_EQ(InodeOf(found.path), inode);
  EXPECT_EQ(machine_.Runs(), runs);
}

TEST_F(ObtainTest, APictureOfASourceThatWasJustWrittenIsSentAndNotKept) {
  WritePhoto(source_, {1600, 1200});
  SetModificationTime(source_, time(nullptr));
  const Thumbnail sent = Obtain(ForLabel(source_, kBig));
  EXPECT_EQ(sent.outcome, Outcome::kPicture);
  EXPECT_EQ(sent.owner, Owner::kCaller);
  EXPECT_EQ(kit::Corners(sent.path), kit::kPictureCorners);
  unlink(sent.path.c_str());
  EXPECT_THAT(Stored(source_), IsEmpty());
  SourceVersion(source_).WaitWhileFresh();
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).path, StorePath(source_, kBigEntry));
}

TEST_F(ObtainTest, AnotherPictureOfTheSameSecondRenamedOverTheSourceIsShown) {
  WritePhoto(source_, {1600, 1200});
  ASSERT_EQ(kit::Corners(Obtain(ForLabel(source_, kBig)).path), kit::kPictureCorners);
  kit::WriteDecoy(Picture("b.jpg"));
  SetModificationTime(Picture("b.jpg"), kSourceTime);
  std::filesystem::rename(Picture("b.jpg"), source_);
  EXPECT_EQ(kit::Corners(Obtain(ForLabel(source_, kBig)).path), kit::kDecoyCorners);
}

TEST_F(ObtainTest, AStoredFileThatIsNoPictureIsBuiltAgain) {
  WritePhoto(source_, {1600, 1200});
  WriteStored(source_, kBigEntry, std::string(4096, '\0'));
  const Thumbnail built = Obtain(ForLabel(source_, kBig));
  EXPECT_EQ(built.path, StorePath(source_, kBigEntry));
  EXPECT_EQ(kit::Corners(built.path), kit::kPictureCorners);
}

TEST_F(ObtainTest, APhotoAlbumThumbnailIsTurnedWhenSent) {
  WritePhoto(source_, {800, 600});
  WriteStored(source_, "VEXAPHOTO_THUMB_B.jpg", kJpeg);
  ThumbnailRequest request = ForLabel(source_, kBig);
  request.any_share = true;
  request.turns = 1;
  const Thumbnail answer = Obtain(request);
  EXPECT_EQ(answer.path, StorePath(source_, "VEXAPHOTO_THUMB_B.jpg"));
  EXPECT_EQ(answer.turns_to_come, 1);
}

TEST_F(ObtainTest, AVideosScreenshotIsFound) {
  WriteText(Picture("a.mp4"));
  WriteStored(Picture("a.mp4"), "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", kJpeg);
  ThumbnailRequest request = ForLabel(Picture("a.mp4"), kBig);
  request.any_share = true;
  EXPECT_EQ(Obtain(request).outcome, Outcome::kPicture);
}

TEST_F(ObtainTest, BmpDataAreAHitOnlyWithoutCompaction) {
  WritePhoto(source_, {800, 600});
  kit::TempDir dir;
  WriteDecodedJpeg(dir / "decoded");
  WriteStored(source_, kBigEntry, kit::ReadFile(dir / "decoded"));
  options_.build.compaction = false;
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).mime, "image/bmp");
  EXPECT_EQ(machine_.Runs(), 0);
  options_.build.compaction = true;
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).mime, "image/jpeg");
  EXPECT_EQ(machine_.Runs("cjpeg"), 1);
}

struct SmallerCase {
  const char* name;
  const char* source;
  std::function<void(const std::string& path)> write;
  std::function<void(ThumbnailRequest&)> change;
};

class SmallerTest : public ObtainTest, public testing::WithParamInterface<SmallerCase> {
 protected:
  Thumbnail ObtainSmaller(bool allowed) const {
    const std::string source = Picture(GetParam().source);
    ThumbnailRequest request = ForLabel(source, kBig);
    request.any_share = true;
    GetParam().change(request);
    request.allow_smaller = allowed;
    return Obtain(request);
  }
  void Prepare() const {
    const std::string source = Picture(GetParam().source);
    GetParam().write(source);
    SetModificationTime(source, kSourceTime);
    WriteStored(source, "VEXAPHOTO_THUMB_S.jpg", kJpeg);
    WriteStored(source, "VEXAPHOTO_THUMB_M.jpg", kJpeg);
    WriteStored(source, "VEXAPHOTO_THUMB_XL.jpg", kJpeg);
  }
};

TEST_P(SmallerTest, TheLargestStoredOneBelowTakesThePlace) {
  Prepare();
  EXPECT_EQ(ObtainSmaller(true).path,
            StorePath(Picture(GetParam().source), "VEXAPHOTO_THUMB_M.jpg"));
  EXPECT_EQ(ObtainSmaller(true).outcome, Outcome::kPicture) << "from memory too";
}

TEST_P(SmallerTest, NoneTakesThePlaceUnlessAllowed) {
  Prepare();
  EXPECT_NE(ObtainSmaller(false).outcome, Outcome::kPicture);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, SmallerTest,
    testing::Values(SmallerCase{"OnlyStored", "a.jpg", WriteLargeJpeg, OnlyStored},
                    SmallerCase{"Video", "a.mp4", WriteText, Nothing},
                    SmallerCase{"Undecodable", "a.jpg", WriteUndecodable, Nothing}),
    CaseName());

TEST_F(ObtainTest, AnOriginalThatBrowsersCannotShowMayBecomeTheLargestSize) {
  kit::WriteTiff(Picture("a.tif"), {{400, 300}, 0});
  ThumbnailRequest request = ForLabel(Picture("a.tif"), kOriginal);
  request.allow_smaller = true;
  const Thumbnail answer = Obtain(request);
  EXPECT_EQ(answer.path, StorePath(Picture("a.tif"), "VEXAFILE_THUMB_XL.jpg"));
  EXPECT_EQ(kit::Corners(answer.path), kit::kPictureCorners);
}

TEST_F(ObtainTest, AFailureIsRememberedAndAnsweredQuickly) {
  WriteUndecodable(source_);
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kUnusable);
  const int runs = machine_.Runs();
  EXPECT_GT(runs, 0);
  const auto failure = RecordedFailure(source_, {"named"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->tool, "/usr/bin/convert");
  const Thumbnail again = Obtain(ForLabel(source_, kSmall));
  EXPECT_EQ(again.outcome, Outcome::kUnusable);
  EXPECT_EQ(again.cause.text, failure->reason);
  EXPECT_EQ(machine_.Runs(), runs);
}

#ifndef VEXATHUMB_SANITIZED  // they take memory for themselves

TEST_F(ObtainTest, MetadataThatMeetALimitAreReadOnce) {
  const std::string source = Picture("a.tif");
  kit::WriteFile(source, kit::OverlappingTiff(245, size_t{3} << 20));
  SetModificationTime(source, kSourceTime);
  const Thumbnail first = Obtain(ForLabel(source, kSmall));
  EXPECT_EQ(first.outcome, Outcome::kUnusable);
  EXPECT_THAT(first.cause.text, HasSubstr("too much memory"));
  EXPECT_FALSE(first.is_known);
  const Thumbnail second = Obtain(ForBox(source, 300, 200));
  EXPECT_EQ(second.outcome, Outcome::kUnusable);
  EXPECT_TRUE(second.is_known);
}

#endif

TEST_F(ObtainTest, ARememberedSourceIsTriedAgainWhenToldTo) {
  WritePhoto(source_, {800, 600});
  FailAll(machine_);
  ASSERT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kUnusable);
  machine_.on_run = nullptr;
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kUnusable);
  options_.use_failure_record = false;
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kPicture);
  EXPECT_THAT(Stored(source_), Not(Contains(kFailureEntry)));
}

TEST_F(ObtainTest, ARememberedSourceIsTriedAgainWhenItHasChanged) {
  WriteUndecodable(source_);
  Obtain(ForLabel(source_, kBig));
  WritePhoto(source_, {800, 600});
  SetModificationTime(source_, kSourceTime + 1);
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kPicture);
}

TEST_F(ObtainTest, AStoredThumbnailIsFoundWhateverIsRemembered) {
  WriteUndecodable(source_);
  Obtain(ForLabel(source_, kBig));
  WriteStored(source_, kSmallEntry, kJpeg);
  EXPECT_EQ(Obtain(ForLabel(source_, kSmall)).outcome, Outcome::kPicture);
}

struct MachineFaultCase {
  const char* name;
  const char* source;
  std::function<void(const std::string& path)> write;
  std::function<void(MachineDouble& machine, const std::string& share)> spoil;
  const char* reason;
};

class MachineFaultTest : public ObtainTest, public testing::WithParamInterface<MachineFaultCase> {};

TEST_P(MachineFaultTest, IsSaidAndNotRememberedOfTheSource) {
  const std::string source = Picture(GetParam().source);
  GetParam().write(source);
  GetParam().spoil(machine_, share_.path());
  const Thumbnail answer = Obtain(ForLabel(source, kBig));
  EXPECT_EQ(answer.outcome, Outcome::kPostponed);
  EXPECT_THAT(answer.cause.text, HasSubstr(GetParam().reason));
  EXPECT_THAT(RecordedFailures(source), IsEmpty());
}

void WriteTiffSource(const std::string& path) { kit::WriteTiff(path, {{800, 600}, 0}); }
void WriteRawWithoutPreview(const std::string& path) {
  kit::DngOptions options;
  options.preview = kit::RawPreview::kNone;
  kit::WriteDng(path, options);
}
void WriteX3fSource(const std::string& path) { WriteX3f(path); }

std::function<void(MachineDouble&, const std::string&)> Break(const char* program,
                                                              ToolFault fault) {
  return [program, fault](MachineDouble& machine, const std::string& /*share*/) {
    machine.Break(program, fault);
  };
}

INSTANTIATE_TEST_SUITE_P(
    Faults, MachineFaultTest,
    testing::Values(MachineFaultCase{"ToolMissing", "a.tif", WriteTiffSource,
                                     Break("convert", ToolFault::kMissing),
                                     "the program convert cannot be started"},
                    MachineFaultCase{"RawToolMissing", "a.x3f", WriteX3fSource,
                                     Break("dcraw", ToolFault::kMissing), "the program dcraw"},
                    MachineFaultCase{"RawToolMissingForAFileThatOthersTryToo", "a.dng",
                                     [](const auto& path) { WriteRawWithoutPreview(path); },
                                     Break("dcraw", ToolFault::kMissing),
                                     "the program dcraw cannot be started"},
                    MachineFaultCase{"StoreFull", "a.x3f", WriteX3fSource,
                                     [](auto& machine, const auto& share) {
                                       FailAll(machine);
                                       machine.full_directory = share;
                                     },
                                     "no room for it in the store"},
                    MachineFaultCase{
                        "StoreCannotBeMade", "a.x3f", WriteX3fSource,
                        [](auto&, const auto& share) { kit::WriteFile(share + "/.vexaea", ""); },
                        "no room for it in the store"},
                    MachineFaultCase{"NoRoomForTemporaries", "a.tif", WriteTiffSource,
                                     [](auto& machine, const auto&) {
                                       FailAll(machine);
                                       machine.full_directory = "/var/tmp";
                                     },
                                     "no room for temporary files"}),
    CaseName());

class PostponedRequestTest : public ObtainTest, public testing::WithParamInterface<ToolFault> {};

TEST_P(PostponedRequestTest, IsNotHeldAgainstTheSourceForLongerThanAPause) {
  const std::string source = Picture("a.tif");
  WriteTiffSource(source);
  machine_.Break("convert", GetParam());
  const Thumbnail first = Obtain(ForLabel(source, kBig));
  EXPECT_EQ(first.outcome, Outcome::kPostponed);
  EXPECT_EQ(first.retry_after, std::chrono::minutes(1));
  const int runs = machine_.Runs();
  machine_.on_run = nullptr;
  machine_.clock_ahead = 20;
  const Thumbnail second = Obtain(ForLabel(source, kBig));
  EXPECT_EQ(second.outcome, Outcome::kPostponed);
  EXPECT_EQ(second.cause.text, first.cause.text);
  EXPECT_TRUE(second.is_known);
  EXPECT_LE(second.retry_after, std::chrono::seconds(40));
  EXPECT_EQ(machine_.Runs(), runs);
  EXPECT_EQ(Obtain(ForLabel(source, kSmall)).outcome, Outcome::kPicture) << "another size may do";
  machine_.clock_ahead = 61;
  EXPECT_EQ(Obtain(ForLabel(source, kBig)).outcome, Outcome::kPicture);
  EXPECT_THAT(RecordedFailures(source), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, PostponedRequestTest,
                         testing::Values(ToolFault::kTerminated, ToolFault::kKilled,
                                         ToolFault::kFindsNoQuota));

struct FormCase {
  const char* name;
  std::function<void(ThumbnailRequest&)> change;
};

class FailedFormTest : public ObtainTest, public testing::WithParamInterface<FormCase> {};

TEST_P(FailedFormTest, LeavesTheOthersAlone) {
  WriteTiffSource(Picture("a.tif"));
  ThumbnailRequest request = ForLabel(Picture("a.tif"), kExtraLarge);
  GetParam().change(request);
  machine_.Break("convert", ToolFault::kMeetsLimit);
  EXPECT_EQ(Obtain(request).outcome, Outcome::kUnusable);
  EXPECT_THAT(Obtain(request).cause.text, HasSubstr("met its limit"));
  machine_.on_run = nullptr;
  EXPECT_EQ(Obtain(request).outcome, Outcome::kUnusable) << "it is remembered";
  EXPECT_EQ(Obtain(ForLabel(Picture("a.tif"), kBig)).outcome, Outcome::kPicture);
  EXPECT_EQ(Obtain(ForBox(Picture("a.tif"), 100, 100)).outcome, Outcome::kPicture);
  EXPECT_EQ(Obtain(ForAvatar(Picture("a.tif"), 64, 64)).outcome, Outcome::kPicture);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, FailedFormTest,
    testing::Values(
        FormCase{"LargestSize", Nothing},
        FormCase{"TurnedBox",
                 [](auto& request) {
                   request = ForBox(request.source, 4096, 4096);
                   request.turns = 1;
                 }},
        FormCase{"Box", [](auto& request) { request = ForBox(request.source, 99, 99); }},
        FormCase{"Turned", [](auto& request) { request.turns = 3; }},
        FormCase{"Avatar", [](auto& request) { request = ForAvatar(request.source, 96, 96); }}),
    CaseName());

TEST_F(ObtainTest, AStoreThatRefusesAToolIsDoneWithout) {
  WriteTiffSource(Picture("a.tif"));
  machine_.on_run = [this](const auto&, const std::vector<std::string>& argv) {
    const bool into_store = std::any_of(argv.begin(), argv.end(), [this](const auto& argument) {
      return argument.find(share_ / ".vexaea") != std::string::npos;
    });
    return into_store ? ToolFault::kFindsNoQuota : ToolFault::kNone;
  };
  const Thumbnail answer = Obtain(ForLabel(Picture("a.tif"), kBig));
  EXPECT_EQ(answer.outcome, Outcome::kPicture);
  EXPECT_EQ(answer.owner, Owner::kCaller);
  unlink(answer.path.c_str());
}

TEST_F(ObtainTest, AfterAFaultOfTheMachineTheNextRequestIsFine) {
  kit::WriteTiff(Picture("a.tif"), {{800, 600}, 0});
  machine_.Break("convert", ToolFault::kMissing);
  EXPECT_EQ(Obtain(ForLabel(Picture("a.tif"), kBig)).outcome, Outcome::kPostponed);
  machine_.on_run = nullptr;
  machine_.missing_program.clear();
  EXPECT_EQ(Obtain(ForLabel(Picture("a.tif"), kBig)).outcome, Outcome::kPicture);
}

TEST_F(ObtainTest, ASourceThatVanishesMeanwhileIsMissing) {
  WritePhoto(source_, {800, 600});
  machine_.on_run = [this](const auto& /*program*/, const auto& /*argv*/) {
    unlink(source_.c_str());
    return ToolFault::kNone;
  };
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kMissing);
  EXPECT_FALSE(std::filesystem::exists(StorePath(source_, kFailureEntry)));
}

TEST_F(ObtainTest, ASourceThatVanishesWhileItsAvatarIsMadeIsMissing) {
  WritePhoto(source_, {800, 600});
  machine_.on_run = [this](const std::string& /*program*/, const auto& /*argv*/) {
    unlink(source_.c_str());
    return ToolFault::kNone;
  };
  EXPECT_EQ(Obtain(ForAvatar(source_, 64, 64)).outcome, Outcome::kMissing);
}

TEST_F(ObtainTest, ASourceThatIsDamagedMeanwhileIsNotRememberedAsItIsNow) {
  WritePhoto(source_, {800, 600});
  machine_.on_run = [this](const auto& /*program*/, const auto& /*argv*/) {
    WriteText(source_);
    SetModificationTime(source_, kSourceTime + 1);
    return ToolFault::kNone;
  };
  EXPECT_EQ(Obtain(ForLabel(source_, kBig)).outcome, Outcome::kSourceChanged);
  EXPECT_THAT(RecordedFailures(source_), IsEmpty());
}

TEST_F(ObtainTest, AThrowAwayPictureIsTheCallers) {
  kit::WriteTiff(Picture("a.tif"), {{800, 600}, 0});
  machine_.volume_type = FSTYPE_NFS;
  const Thumbnail answer = Obtain(ForLabel(Picture("a.tif"), kBig));
  EXPECT_EQ(answer.owner, Owner::kCaller);
  EXPECT_EQ(kit::Examine(answer.path).format, "JPEG");
  unlink(answer.path.c_str());
}

}  // namespace
}  // namespace vexathumb::service
