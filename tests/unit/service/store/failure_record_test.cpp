#include "service/store/failure_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "unit/platform/scoped_settings.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kForm[] = "named";
constexpr char kEntry[] = "VEXATHUMB_FAILURE.json";

class FailureRecordTest : public ServiceTest {
 protected:
  FailureRecordTest() {
    kit::WriteFile(source_, "no picture");
    SetModificationTime(source_, kSourceTime);
  }

  struct stat Status() const {
    struct stat st = {};
    stat(source_.c_str(), &st);
    return st;
  }
  void Remember() const {
    RecordFailure(source_, Status(), kForm, "it is damaged", "/usr/bin/convert");
  }
  std::chrono::seconds Postpone() const {
    return RecordPostponement(source_, Status(), kForm, "it was killed", "/usr/bin/convert");
  }
  std::optional<BuildFailure> Recorded() const { return RecordedFailure(source_, {kForm}); }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(FailureRecordTest, NothingIsRememberedAtFirst) { EXPECT_FALSE(Recorded()); }

TEST_F(FailureRecordTest, ReasonAndToolAreRemembered) {
  Remember();
  const auto failure = Recorded();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, "it is damaged");
  EXPECT_EQ(failure->tool, "/usr/bin/convert");
  EXPECT_EQ(failure->attempts, 1);
  EXPECT_THAT(Stored(source_), ElementsAre(kEntry));
}

TEST_F(FailureRecordTest, AttemptsAtTheSameBytesAreCounted) {
  for (int i = 0; i < 3; ++i) Remember();
  EXPECT_EQ(Recorded()->attempts, 3);
}

TEST_F(FailureRecordTest, ForgettingForgets) {
  Remember();
  RemoveFailureRecord(source_, {kForm});
  EXPECT_FALSE(Recorded());
  Remember();
  EXPECT_EQ(Recorded()->attempts, 1);
}

TEST_F(FailureRecordTest, ForgettingNothingIsNoFault) {
  RemoveFailureRecord(source_, {kForm});
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.jpg"));
}

TEST_F(FailureRecordTest, BytesThatAreNoTextAreKept) {
  RecordFailure(source_, Status(), kForm, "line\nwith \xff \"quotes\"", "");
  const auto failure = Recorded();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, "line\nwith \xef\xbf\xbd \"quotes\"");
  EXPECT_EQ(failure->tool, "");
}

struct ChangeCase {
  const char* name;
  std::function<void(const std::string& source)> change;
  bool remembered;
};

class ChangedSourceTest : public FailureRecordTest,
                          public testing::WithParamInterface<ChangeCase> {};

TEST_P(ChangedSourceTest, IsANewOne) {
  Remember();
  GetParam().change(source_);
  EXPECT_EQ(Recorded().has_value(), GetParam().remembered);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, ChangedSourceTest,
    testing::Values(
        ChangeCase{"None", [](const auto&) {}, true},
        ChangeCase{"Mode", [](const auto& source) { chmod(source.c_str(), 0600); }, true},
        ChangeCase{"Newer",
                   [](const auto& source) { SetModificationTime(source, kSourceTime + 1); }, false},
        ChangeCase{"Older",
                   [](const auto& source) { SetModificationTime(source, kSourceTime - 1); }, false},
        ChangeCase{"OtherSizeSameTime",
                   [](const auto& source) {
                     kit::WriteFile(source, "longer than before");
                     SetModificationTime(source, kSourceTime);
                   },
                   false},
        ChangeCase{"Gone", [](const auto& source) { std::filesystem::remove(source); }, false}),
    CaseName());

TEST_F(FailureRecordTest, ASourceThatChangesWhileItIsTriedHasNotBeenTried) {
  const struct stat tried = Status();
  kit::WriteFile(source_, "complete by now");
  RecordFailure(source_, tried, kForm, "it is damaged", "/usr/bin/convert");
  EXPECT_FALSE(Recorded());
}

TEST_F(FailureRecordTest, AttemptsBeginAnewForAChangedSource) {
  Remember();
  Remember();
  SetModificationTime(source_, kSourceTime + 1);
  Remember();
  EXPECT_EQ(Recorded()->attempts, 1);
}

TEST_F(FailureRecordTest, AnotherReleaseTriesAgain) {
  Remember();
  const std::string path = StorePath(source_, kEntry);
  std::string entry = kit::ReadFile(path);
  const size_t version = entry.find("\"version\": \"");
  ASSERT_NE(version, std::string::npos);
  entry.insert(version + 12, "0.0.1-not-");
  kit::WriteFile(path, entry);
  EXPECT_FALSE(Recorded());
}

TEST_F(FailureRecordTest, AFailureIsThatOfItsForm) {
  Remember();
  EXPECT_FALSE(RecordedFailure(source_, {"4096x4096 turned 1"}));
  EXPECT_TRUE(RecordedFailure(source_, {"small", kForm}));
  RecordFailure(source_, Status(), "64x64 avatar", "it is too large", "");
  RemoveFailureRecord(source_, {kForm});
  EXPECT_FALSE(Recorded());
  EXPECT_EQ(RecordedFailure(source_, {"64x64 avatar"})->reason, "it is too large");
}

TEST_F(FailureRecordTest, WhatHoldsForEveryFormKeepsAllFromBeingTried) {
  RecordFailure(source_, Status(), kEveryForm, "it is damaged", "");
  EXPECT_TRUE(Recorded());
  EXPECT_TRUE(RecordedFailure(source_, {"64x64 avatar"}));
  RemoveFailureRecord(source_, {kForm});
  EXPECT_FALSE(Recorded());
}

TEST_F(FailureRecordTest, AnyNumberOfFormsNeedsNoMoreRoom) {
  for (int side = 1; side <= 4096; side *= 2) {
    for (int other = 1; other <= 4096; other *= 2) {
      const std::string form = std::to_string(side) + "x" + std::to_string(other);
      RecordFailure(source_, Status(), form, "it is damaged", "");
      EXPECT_TRUE(RecordedFailure(source_, {form}));
    }
  }
  EXPECT_LT(kit::ReadFile(StorePath(source_, kEntry)).size(), 64U << 10U);
}

struct LimitChange {
  const char* name;
  const char* settings;
  bool remembered;
};

class ChangedLimitTest : public FailureRecordTest,
                         public testing::WithParamInterface<LimitChange> {};

TEST_P(ChangedLimitTest, IsAReasonToTryAgainWhenItIsLarger) {
  vexaplatform::ScopedSettings settings("[tool convert]\ncpu_time = 40\n");
  Remember();
  EXPECT_TRUE(Recorded());
  settings.Write(GetParam().settings);
  EXPECT_EQ(Recorded().has_value(), GetParam().remembered);
}

INSTANTIATE_TEST_SUITE_P(
    , ChangedLimitTest,
    testing::Values(
        LimitChange{"Same", "[tool convert]\ncpu_time=40\n", true},
        LimitChange{"More", "[tool convert]\ncpu_time = 41\n", false},
        LimitChange{"Less", "[tool convert]\ncpu_time = 39\n", true},
        LimitChange{"LessAndMore", "[tool convert]\ncpu_time = 39\naddress_space = 2000\n", false},
        LimitChange{"MoreOfAnotherTool",
                    "[tool convert]\ncpu_time = 40\n[tool djpeg]\nfile_size = 2000\n", false}),
    CaseName());

TEST_F(FailureRecordTest, APostponementHoldsForAPauseThatGrows) {
  EXPECT_EQ(Postpone(), std::chrono::minutes(1));
  ASSERT_TRUE(Recorded());
  EXPECT_TRUE(Recorded()->IsPostponed());
  EXPECT_EQ(Recorded()->attempts, 1);
  machine_.clock_ahead = 61;
  EXPECT_FALSE(Recorded());
  ASSERT_EQ(RecordedFailures(source_).size(), 1U);
  EXPECT_EQ(Postpone(), std::chrono::minutes(2));
  EXPECT_EQ(Postpone(), std::chrono::minutes(4));
  for (int i = 0; i < 20; ++i) Postpone();
  constexpr time_t kDay = 24 * 60 * 60;
  const time_t before = time(nullptr);
  EXPECT_EQ(Postpone(), std::chrono::hours(24));
  EXPECT_EQ(Recorded()->attempts, 24);
  EXPECT_GE(*Recorded()->next_try, before + kDay);
  EXPECT_LE(*Recorded()->next_try, time(nullptr) + kDay);
}

TEST_F(FailureRecordTest, AClockThatWasSetBackKeepsNothingWaiting) {
  machine_.clock_ahead = 1000000;
  Postpone();
  machine_.clock_ahead = 0;
  EXPECT_FALSE(Recorded());
}

TEST_F(FailureRecordTest, AFailureComesBeforeAPostponement) {
  Postpone();
  RecordFailure(source_, Status(), "xlarge", "it met a limit", "");
  EXPECT_EQ(RecordedFailure(source_, {kForm, "xlarge"})->reason, "it met a limit");
}

struct DamageCase {
  const char* name;
  std::function<void(const std::string& entry)> damage;
};

class DamagedEntryTest : public FailureRecordTest,
                         public testing::WithParamInterface<DamageCase> {};

TEST_P(DamagedEntryTest, RemembersNothingAndCanBeWrittenAnew) {
  Remember();
  const std::string path = StorePath(source_, kEntry);
  GetParam().damage(path);
  EXPECT_FALSE(Recorded());
  std::filesystem::remove_all(path);
  Remember();
  EXPECT_EQ(Recorded()->attempts, 1);
}

void ReplaceText(const std::string& path, const std::string& from, const std::string& to) {
  std::string text = kit::ReadFile(path);
  const size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos);
  kit::WriteFile(path, text.replace(at, from.size(), to));
}

INSTANTIATE_TEST_SUITE_P(
    Damages, DamagedEntryTest,
    testing::Values(
        DamageCase{"Empty", [](const auto& path) { kit::WriteFile(path, ""); }},
        DamageCase{
            "CutOff",
            [](const auto& path) { kit::WriteFile(path, kit::ReadFile(path).substr(0, 20)); }},
        DamageCase{"NoObject", [](const auto& path) { kit::WriteFile(path, "[1, 2]"); }},
        DamageCase{"NoText", [](const auto& path) { kit::WriteFile(path, "\x00\xff\xfe"); }},
        DamageCase{"NoReason",
                   [](const auto& path) { ReplaceText(path, "\"reason\"", "\"other\""); }},
        DamageCase{"NoAttempts",
                   [](const auto& path) { ReplaceText(path, "\"attempts\"", "\"other\""); }},
        DamageCase{
            "AttemptsAreNoNumber",
            [](const auto& path) { ReplaceText(path, "\"attempts\": 1", "\"attempts\": []"); }},
        DamageCase{"NoSource",
                   [](const auto& path) { ReplaceText(path, "\"source\"", "\"other\""); }},
        DamageCase{"DeeplyNested",
                   [](const auto& path) { kit::WriteFile(path, std::string(60000, '[')); }},
        DamageCase{"Huge",
                   [](const auto& path) { std::filesystem::resize_file(path, 1ULL << 32); }},
        DamageCase{"Fifo",
                   [](const auto& path) {
                     std::filesystem::remove(path);
                     kit::WriteFifo(path);
                   }},
        DamageCase{"Link",
                   [](const auto& path) {
                     std::filesystem::rename(path, path + ".moved");
                     std::filesystem::create_symlink(path + ".moved", path);
                   }},
        DamageCase{"Folder",
                   [](const auto& path) {
                     std::filesystem::remove(path);
                     std::filesystem::create_directory(path);
                   }}),
    CaseName());

TEST_F(FailureRecordTest, AStoreThatCannotBeWrittenRemembersNothing) {
  kit::WriteFile(share_ / ".vexaea", "");
  Remember();
  EXPECT_FALSE(Recorded());
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre(".vexaea", "a.jpg"));
}

TEST_F(FailureRecordTest, AVolumeWithoutStoresRemembersNothing) {
  machine_.volume_type = FSTYPE_NFS;
  Remember();
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.jpg"));
}

TEST_F(FailureRecordTest, AnEntryThatCannotBeReplacedLeavesNothing) {
  std::filesystem::create_directories(StorePath(source_, kEntry) + "/occupied");
  Remember();
  EXPECT_FALSE(Recorded());
  EXPECT_THAT(Stored(source_), ElementsAre(kEntry));
}

}  // namespace
}  // namespace vexathumb::service
