#include "service/store/failure_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

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
  void Remember() const { RecordFailure(source_, Status(), "it is damaged", "/usr/bin/convert"); }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(FailureRecordTest, NothingIsRememberedAtFirst) { EXPECT_FALSE(RecordedFailure(source_)); }

TEST_F(FailureRecordTest, ReasonAndToolAreRemembered) {
  Remember();
  const auto failure = RecordedFailure(source_);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, "it is damaged");
  EXPECT_EQ(failure->tool, "/usr/bin/convert");
  EXPECT_EQ(failure->attempts, 1);
  EXPECT_THAT(Stored(source_), ElementsAre(kEntry));
}

TEST_F(FailureRecordTest, AttemptsAtTheSameBytesAreCounted) {
  for (int i = 0; i < 3; ++i) Remember();
  EXPECT_EQ(RecordedFailure(source_)->attempts, 3);
}

TEST_F(FailureRecordTest, ForgettingForgets) {
  Remember();
  RemoveFailureRecord(source_);
  EXPECT_FALSE(RecordedFailure(source_));
  Remember();
  EXPECT_EQ(RecordedFailure(source_)->attempts, 1);
}

TEST_F(FailureRecordTest, ForgettingNothingIsNoFault) {
  RemoveFailureRecord(source_);
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.jpg"));
}

TEST_F(FailureRecordTest, BytesThatAreNoTextAreKept) {
  RecordFailure(source_, Status(), "line\nwith \xff \"quotes\"", "");
  const auto failure = RecordedFailure(source_);
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
  EXPECT_EQ(RecordedFailure(source_).has_value(), GetParam().remembered);
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
  RecordFailure(source_, tried, "it is damaged", "/usr/bin/convert");
  EXPECT_FALSE(RecordedFailure(source_));
}

TEST_F(FailureRecordTest, AttemptsBeginAnewForAChangedSource) {
  Remember();
  Remember();
  SetModificationTime(source_, kSourceTime + 1);
  Remember();
  EXPECT_EQ(RecordedFailure(source_)->attempts, 1);
}

TEST_F(FailureRecordTest, AnotherReleaseTriesAgain) {
  Remember();
  const std::string path = StorePath(source_, kEntry);
  std::string entry = kit::ReadFile(path);
  const size_t version = entry.find("\"version\": \"");
  ASSERT_NE(version, std::string::npos);
  entry.insert(version + 12, "0.0.1-not-");
  kit::WriteFile(path, entry);
  EXPECT_FALSE(RecordedFailure(source_));
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
  EXPECT_FALSE(RecordedFailure(source_));
  std::filesystem::remove_all(path);
  Remember();
  EXPECT_EQ(RecordedFailure(source_)->attempts, 1);
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
  EXPECT_FALSE(RecordedFailure(source_));
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
  EXPECT_FALSE(RecordedFailure(source_));
  EXPECT_THAT(Stored(source_), ElementsAre(kEntry));
}

}  // namespace
}  // namespace vexathumb::service
