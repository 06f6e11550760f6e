#include "service/store/store_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "common/util/util.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "service/base/machine_error.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

class StoreFilesTest : public ServiceTest {
 protected:
  StoreFilesTest() { WritePhoto(source_, {40, 30}); }

  const std::string source_ = Picture("a.jpg");
};

TEST_F(StoreFilesTest, TheStoreDirectoryIsThePlatforms) {
  EXPECT_EQ(StoreDirectoryOf(source_), share_ / ".vexaea/a.jpg");
  EXPECT_EQ(StoreDirectoryOf("relative.jpg"), "");
}

TEST_F(StoreFilesTest, AWritableStoreIsMade) {
  EXPECT_TRUE(IsStoreWritable(source_));
  EXPECT_TRUE(std::filesystem::is_directory(StoreDirectoryOf(source_)));
  EXPECT_TRUE(HasStoreRoom(source_));
  EXPECT_THAT(Stored(source_), IsEmpty());
}

TEST_F(StoreFilesTest, AFullStoreIsWritableButHasNoRoom) {
  machine_.full_directory = StoreDirectoryOf(source_);
  EXPECT_TRUE(IsStoreWritable(source_));
  EXPECT_FALSE(HasStoreRoom(source_));
  EXPECT_TRUE(HasRoom(elsewhere_.path()));
  EXPECT_THAT(Stored(source_), IsEmpty());
}

TEST_F(StoreFilesTest, WhetherThereIsRoomIsFoundWithoutWriting) {
  ASSERT_TRUE(IsStoreWritable(source_));
  SetModificationTime(StoreDirectoryOf(source_), kSourceTime);
  machine_.full_directory = StoreDirectoryOf(source_);
  for (const uint64_t left : {uint64_t{1}, uint64_t{1} << 40U}) {
    machine_.left_there = left;
    EXPECT_EQ(HasStoreRoom(source_), left > 1);
  }
  EXPECT_EQ(ModificationTimeOf(StoreDirectoryOf(source_)), kSourceTime);
}

struct ExchangeCase {
  const char* name;
  std::function<void(const std::string& share)> exchange;
  int error;  // 0: opens
};

void PrintTo(const ExchangeCase& exchange, std::ostream* out) { *out << exchange.name; }

void MoveAndLink(const std::string& path) {
  std::filesystem::rename(path, path + ".moved");
  std::filesystem::create_symlink(path + ".moved", path);
}

class OpenStoreDirectoryTest : public StoreFilesTest,
                               public testing::WithParamInterface<ExchangeCase> {};

TEST_P(OpenStoreDirectoryTest, IsThatOfTheSourceOrNone) {
  const struct stat status = StatusOf(source_);
  ASSERT_TRUE(IsStoreWritable(source_));
  GetParam().exchange(share_.path());
  const posix::UniqueFd directory = OpenStoreDirectory(source_, status);
  const int error = directory ? 0 : errno;
  EXPECT_EQ(error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Exchanges, OpenStoreDirectoryTest,
    testing::Values(
        ExchangeCase{"nothing", [](const auto&) {}, 0},
        ExchangeCase{"the_folder_by_a_link_to_it", [](const auto& share) { MoveAndLink(share); },
                     0},
        ExchangeCase{"the_hidden_folder_by_a_link",
                     [](const auto& share) { MoveAndLink(share + "/.vexaea"); }, ELOOP},
        ExchangeCase{"the_directory_by_a_link",
                     [](const auto& share) { MoveAndLink(share + "/.vexaea/a.jpg"); }, ELOOP},
        ExchangeCase{"the_source",
                     [](const auto& share) {
                       std::filesystem::copy(share + "/a.jpg", share + "/b.jpg");
                       std::filesystem::rename(share + "/b.jpg", share + "/a.jpg");
                     },
                     ESTALE},
        ExchangeCase{"no_directory",
                     [](const auto& share) { std::filesystem::remove(share + "/.vexaea/a.jpg"); },
                     ENOENT}),
    CaseName());

struct ModeCase {
  const char* name;
  mode_t source;
  mode_t stored;
};

class StoredMode : public StoreFilesTest, public testing::WithParamInterface<ModeCase> {};

TEST_P(StoredMode, LetsReadWhomTheSourcesLets) {
  kit::WriteJpeg(source_, {{400, 300}, 0, {}, {}, {}});
  SetModificationTime(source_, kSourceTime);
  chmod(source_.c_str(), GetParam().source);
  const Thumbnail thumbnail = Obtain(ForLabel(source_, kSmall));
  ASSERT_EQ(thumbnail.outcome, Outcome::kPicture);
  EXPECT_EQ(StatusOf(thumbnail.path).st_mode & 07777, GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    , StoredMode,
    testing::Values(ModeCase{"OwnersAlone", 0600, 0600}, ModeCase{"Groups", 0640, 0640},
                    ModeCase{"Everybodys", 0644, 0644}, ModeCase{"Writable", 0666, 0644},
                    ModeCase{"Executable", 0777, 0644}, ModeCase{"Special", 06755, 0644},
                    ModeCase{"ReadOnly", 0444, 0644}),
    CaseName());

struct VolumeCase {
  const char* name;
  FSTYPE type;
};

class StoreVolumeTest : public StoreFilesTest, public testing::WithParamInterface<VolumeCase> {};

TEST_P(StoreVolumeTest, IsNotWrittenTo) {
  machine_.volume_type = GetParam().type;
  EXPECT_FALSE(IsStoreWritable(source_));
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("a.jpg"));
}

INSTANTIATE_TEST_SUITE_P(Volumes, StoreVolumeTest,
                         testing::Values(VolumeCase{"Nfs", FSTYPE_NFS},
                                         VolumeCase{"Cifs", FSTYPE_CIFS},
                                         VolumeCase{"Iso", FSTYPE_ISO}),
                         CaseName());

TEST_F(StoreFilesTest, AFileInThePlaceOfTheStoreIsAnObstacle) {
  kit::WriteFile(share_ / ".vexaea", "");
  EXPECT_FALSE(IsStoreWritable(source_));
  EXPECT_FALSE(HasStoreRoom(source_));
}

TEST_F(StoreFilesTest, ALinkInThePlaceOfTheStoreIsAnObstacle) {
  std::filesystem::create_directory_symlink(elsewhere_.path(), share_ / ".vexaea");
  std::filesystem::create_directory(elsewhere_ / "a.jpg");
  EXPECT_FALSE(IsStoreWritable(source_));
  EXPECT_THAT(NamesIn(elsewhere_ / "a.jpg"), IsEmpty());
}

}  // namespace
}  // namespace vexathumb::service
