// Volumes that answer with errors: worn disks, file servers that went away, quotas. Run in a mount
// namespace of its own, where anybody may mount.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <tuple>

#include "kit/case_name.h"
#include "kit/doubles/failing_volume.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct VolumeFault {
  const char* name;
  void (*spoil)(kit::FailingVolume& volume);
  const char* cause;
};

void PrintTo(const VolumeFault& fault, std::ostream* out) { *out << fault.name; }

class FailingVolumeTest : public ::testing::TestWithParam<std::tuple<const char*, VolumeFault>> {
 protected:
  FailingVolumeTest() : volume_(album_.pictures()) { album_.UseEngine(std::get<0>(GetParam())); }

  static const VolumeFault& Fault() { return std::get<1>(GetParam()); }

  void SetUp() override {
    if (!volume_.IsMounted()) GTEST_SKIP() << "no file system of one's own can be mounted here";
    kit::JpegOptions photo;
    photo.size = {1600, 1200};
    kit::WriteJpeg(volume_.Behind("a.jpg"), photo);
    kit::WritePng(volume_.Behind("d.png"), {{800, 600}});
    kit::WriteTiff(volume_.Behind("e.tif"), {{800, 600}, 0});
    kit::WriteDng(volume_.Behind("f.dng"));
    for (const char* name : {"a.jpg", "d.png", "e.tif", "f.dng"}) {
      fs::last_write_time(volume_.Behind(name),
                          fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
  }

  RunResult Build(const std::string& what) const {
    return album_.Run({"build", "--sizes", "small", what});
  }

  Album album_;
  kit::FailingVolume volume_;
};

TEST_P(FailingVolumeTest, PostponesAndCostsNothingOnceItIsMended) {
  Fault().spoil(volume_);
  for (const char* name : {"a.jpg", "d.png", "e.tif", "f.dng"}) {
    const RunResult spoiled = Build(album_ / name);
    EXPECT_EQ(spoiled.exit_code, 75) << name << ": " << spoiled.err << spoiled.out;
    EXPECT_THAT(spoiled.err,
                AllOf(HasSubstr(Fault().cause), Not(HasSubstr("right")), Not(HasSubstr("damaged"))))
        << name;
    EXPECT_THAT(spoiled.leftovers, IsEmpty()) << name;
    const RunResult got = album_.Run({"get", album_ / name, "--size", "small"});
    // Some pictures need no name in the store, and a TIFF-like source is read through a mapping.
    const bool is_mapped = std::string(name) == "e.tif" || std::string(name) == "f.dng";
    EXPECT_THAT(got.exit_code, AnyOf(0, 75, is_mapped ? 256 + SIGBUS : 75))
        << name << ": " << got.err;
  }
  const RunResult all = Build(album_.pictures());
  EXPECT_EQ(all.exit_code, 75) << all.err << all.out;

  volume_.Mend();
  const RunResult mended = Build(album_.pictures());
  EXPECT_EQ(mended.exit_code, 0) << mended.err;
  EXPECT_THAT(mended.out, HasSubstr("4 built"));
  EXPECT_EQ(album_.Run({"failures", album_.pictures()}).out, "");
  EXPECT_EQ(kit::Corners(album_.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")), kit::kPictureCorners);
}

// Which the library's first step makes beside the temporary files, and its second cannot store.
TEST(FailingVolume, LeavesNoFullFramesOfAnAnimation) {
  const Album album;
  kit::FailingVolume volume(album.pictures());
  if (!volume.IsMounted()) GTEST_SKIP() << "no file system of one's own can be mounted here";
  const std::string name = "animation" + std::to_string(getpid()) + ".gif";
  kit::WriteAnimatedGif(volume.Behind(name), {800, 600}, 4);
  fs::last_write_time(volume.Behind(name),
                      fs::file_time_type::clock::now() - std::chrono::hours(1));
  volume.Fail("write", ENOSPC);
  const RunResult run = album.Run({"get", "--library", "--gif", "--size", "small", album / name});
  EXPECT_NE(run.exit_code, 0) << run.out;
  for (const auto& entry : fs::directory_iterator("/var/tmp")) {
    EXPECT_THAT(entry.path().string(), Not(HasSubstr(name)));
  }
}

template <int error>
void FailFolders(kit::FailingVolume& volume) {
  volume.Fail("mkdir", error);
}
template <int error>
void FailNewFiles(kit::FailingVolume& volume) {
  volume.Fail("create", error);
}
template <int error>
void FailWrites(kit::FailingVolume& volume) {
  volume.Fail("write", error);
}
template <int error>
void FailRenames(kit::FailingVolume& volume) {
  volume.Fail("rename", error);
}
template <int error>
void FailReads(kit::FailingVolume& volume) {
  volume.Fail("read", error);
}
template <int error>
void FailHalfOfReads(kit::FailingVolume& volume) {
  volume.FailReadsOfSecondHalves(error);
}
template <int error>
void FailOpening(kit::FailingVolume& volume) {
  volume.Fail("open", error);
}
template <int error>
void FailStatus(kit::FailingVolume& volume) {
  volume.Fail("stat", error);
}

INSTANTIATE_TEST_SUITE_P(
    , FailingVolumeTest,
    ::testing::Combine(
        ::testing::Values("auto", "tools"),
        ::testing::Values(
            VolumeFault{"no_room_for_a_folder", FailFolders<ENOSPC>, "no room"},
            VolumeFault{"no_quota_for_a_folder", FailFolders<EDQUOT>, "no room"},
            VolumeFault{"read_only_for_a_folder", FailFolders<EROFS>, "Read-only file system"},
            VolumeFault{"io_error_at_a_folder", FailFolders<EIO>, "Input/output error"},
            VolumeFault{"no_room_for_a_file", FailNewFiles<ENOSPC>, "No space left on device"},
            VolumeFault{"no_quota_for_a_file", FailNewFiles<EDQUOT>, "Disk quota exceeded"},
            VolumeFault{"no_room_for_data", FailWrites<ENOSPC>, ""},
            VolumeFault{"no_quota_for_data", FailWrites<EDQUOT>, ""},
            VolumeFault{"io_error_at_data", FailWrites<EIO>, ""},
            VolumeFault{"no_room_for_a_name", FailRenames<ENOSPC>, ""},
            VolumeFault{"io_error_at_a_name", FailRenames<EIO>, ""},
            VolumeFault{"source_io_error", FailReads<EIO>, "Input/output error"},
            VolumeFault{"source_stale", FailReads<ESTALE>, "Stale file handle"},
            VolumeFault{"source_half_io_error", FailHalfOfReads<EIO>, "Input/output error"},
            VolumeFault{"source_half_stale", FailHalfOfReads<ESTALE>, "Stale file handle"},
            VolumeFault{"source_open_io_error", FailOpening<EIO>, "Input/output error"},
            VolumeFault{"source_open_stale", FailOpening<ESTALE>, "Stale file handle"},
            VolumeFault{"source_gone_stale", FailStatus<ESTALE>, "Stale file handle"},
            VolumeFault{"source_gone_io_error", FailStatus<EIO>, "Input/output error"})),
    [](const auto& test) {
      return std::string(std::get<1>(test.param).name) + "_by_" + std::get<0>(test.param);
    });

}  // namespace
}  // namespace vexathumb::system_test
