// Volumes that are full or closed to writers. Run in a mount namespace of its own, where anybody
// may mount.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/whole_picture.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// Within a minute.
bool Becomes(const std::function<bool()>& condition) {
  for (int i = 0; i < 1200 && !condition(); ++i) usleep(50000);
  return condition();
}

// A small volume at the album's pictures, another one than that of the temporary folders.
class SmallVolume {
 public:
  SmallVolume(const Album& album, const std::string& options) : path_(album.pictures()) {
    mounted_ = mount("none", path_.c_str(), "tmpfs", 0, options.c_str()) == 0;
  }
  ~SmallVolume() { umount2(path_.c_str(), MNT_DETACH); }
  SmallVolume(const SmallVolume&) = delete;
  SmallVolume& operator=(const SmallVolume&) = delete;

  bool IsMounted() const { return mounted_; }
  bool Close() const { return Remount(MS_RDONLY); }
  bool Open() const { return Remount(0); }
  void LeaveRoom(size_t bytes) const {
    const size_t free = fs::space(path_).available;
    if (free > bytes) kit::WriteFile(path_ + "/ballast", std::string(free - bytes, 'x'));
  }
  // Makes files until no more can be made, and then removes so many.
  void LeaveFiles(int count) const {
    fs::create_directory(path_ + "/ballast");
    int made = 0;
    try {
      for (;; ++made) kit::WriteFile(path_ + "/ballast/" + std::to_string(made), "");
    } catch (const std::runtime_error&) {
      for (; count > 0; --count) fs::remove(path_ + "/ballast/" + std::to_string(--made));
    }
  }
  void MakeRoom() const { fs::remove_all(path_ + "/ballast"); }

 private:
  bool Remount(unsigned long flags) const {
    return mount("none", path_.c_str(), nullptr, MS_REMOUNT | flags, nullptr) == 0;
  }

  std::string path_;
  bool mounted_;
};

struct Fault {
  const char* name;
  const char* options;
  void (*spoil)(const SmallVolume& volume);
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

template <int kibibytes>
void LeaveKibibytes(const SmallVolume& volume) {
  volume.LeaveRoom(size_t{kibibytes} * 1024);
}

template <int count>
void LeaveFiles(const SmallVolume& volume) {
  volume.LeaveFiles(count);
}

class DiskFault : public ::testing::TestWithParam<Fault> {
 protected:
  DiskFault() : volume_(album_, GetParam().options) {}

  void SetUp() override {
    ASSERT_TRUE(volume_.IsMounted());
    kit::WriteJpeg(album_ / "a.jpg", {{800, 600}});
    kit::WriteJpeg(album_ / "b.jpg", {{800, 600}, 6});
    kit::JpegOptions camera;
    camera.size = {800, 600};
    camera.exif_thumbnail = kit::Size{160, 120};
    kit::WriteJpeg(album_ / "c.jpg", camera);
    kit::WritePng(album_ / "d.png");
    GetParam().spoil(volume_);
  }

  Album album_;
  SmallVolume volume_;
};

TEST(FullDisk, IsSaid) {
  const Album album;
  const SmallVolume volume(album, "size=16m");
  ASSERT_TRUE(volume.IsMounted());
  kit::WritePng(album / "a.png");
  volume.LeaveRoom(0);
  const RunResult run = album.Run({"build", "--sizes", "small", album / "a.png"});
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_THAT(run.err,
              HasSubstr("there is no room for it in the store (small); make room on its volume"));
}

// A desktop's service reads the empty file that it has made, whatever is said.
TEST(FullDisk, LeavesADesktopsFileEmpty) {
  const Album album;
  const SmallVolume volume(album, "size=256k");
  ASSERT_TRUE(volume.IsMounted());
  kit::WritePng(album.Aside("a.png"), {{1600, 1200}});
  const std::vector<std::string> make = {"desktop-thumbnail", "-s", "1024", album.Aside("a.png")};
  const auto into = [&make](const std::string& output) {
    std::vector<std::string> all = make;
    all.push_back(output);
    return all;
  };
  ASSERT_EQ(album.Run(into(album.Aside("out"))).exit_code, 0);
  const auto page = static_cast<uintmax_t>(sysconf(_SC_PAGESIZE));
  ASSERT_GT(fs::file_size(album.Aside("out")), page);
  kit::WriteFile(album / "out", "");
  volume.LeaveRoom(page);
  const RunResult run = album.Run(into(album / "out"));
  EXPECT_EQ(run.exit_code, 4);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_EQ(fs::file_size(album / "out"), 0U);
}

// Both at once: what is postponed comes again only within a minute.
TEST(WatchedDisk, IsBuiltForOnceItHasRoomOrCanBeWritten) {
  const Album full;
  const Album closed;
  const SmallVolume full_volume(full, "size=16m");
  const SmallVolume closed_volume(closed, "size=16m");
  ASSERT_TRUE(full_volume.IsMounted() && closed_volume.IsMounted());
  kit::WritePng(full / "a.png");
  kit::WritePng(closed / "a.png");
  full_volume.LeaveRoom(0);
  ASSERT_TRUE(closed_volume.Close());
  const auto watch = [](const Album& album) {
    return album.Start({"watch", "--quiet", "0.3", "--sizes", "small", album.pictures()});
  };
  const auto full_watcher = watch(full);
  const auto closed_watcher = watch(closed);
  EXPECT_TRUE(Becomes([&] { return !full_watcher->ErrorsSoFar().empty(); }));
  EXPECT_THAT(full_watcher->ErrorsSoFar(), HasSubstr("there is no room for it in the store"));
  EXPECT_TRUE(Becomes([&] { return !closed_watcher->ErrorsSoFar().empty(); }));
  EXPECT_THAT(closed_watcher->ErrorsSoFar(), HasSubstr("Read-only file system; "));

  full_volume.MakeRoom();
  ASSERT_TRUE(closed_volume.Open());
  for (const Album* album : {&full, &closed}) {
    EXPECT_TRUE(
        Becomes([&] { return fs::exists(album->Stored("a.png", "VEXAFILE_THUMB_S.png")); }));
  }
  kill(full_watcher->process(), SIGTERM);
  kill(closed_watcher->process(), SIGTERM);
  EXPECT_EQ(full_watcher->Wait().exit_code, 0);
  EXPECT_EQ(closed_watcher->Wait().exit_code, 0);
}

TEST_P(DiskFault, CostsThumbnailsAtMostUntilItIsOver) {
  const RunResult spoiled = album_.Run({"build", "--sizes", "small,big", album_.pictures()});
  EXPECT_THAT(spoiled.exit_code, AnyOf(0, 75)) << spoiled.err;
  EXPECT_THAT(spoiled.err, Not(AnyOf(HasSubstr("right"), HasSubstr("damaged"))));
  EXPECT_THAT(spoiled.leftovers, IsEmpty());
  EXPECT_THAT(kit::PartialThumbnails(album_.pictures()), IsEmpty());

  for (const char* file : {"a.jpg", "b.jpg", "c.jpg", "d.png"}) {
    const RunResult got =
        album_.Run({"get", album_ / file, "--size", "medium", "-o", album_.Aside("out")});
    EXPECT_THAT(got.exit_code, AnyOf(0, 75)) << file << ": " << got.err;
    EXPECT_THAT(got.leftovers, IsEmpty()) << file;
    if (got.exit_code == 0) {
      EXPECT_TRUE(kit::IsWholePicture(kit::ReadFile(album_.Aside("out")))) << file;
    } else {
      EXPECT_TRUE(got.HasOneErrorLine()) << file << ": " << got.err;
    }
    fs::remove(album_.Aside("out"));
  }
  EXPECT_THAT(kit::PartialThumbnails(album_.pictures()), IsEmpty());

  volume_.Open();
  volume_.MakeRoom();
  const RunResult mended = album_.Run({"build", "--sizes", "small,big", album_.pictures()});
  EXPECT_EQ(mended.exit_code, 0) << mended.err;
  EXPECT_EQ(kit::Corners(album_.Stored("b.jpg", "VEXAFILE_THUMB_B_r1.jpg")), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(
    , DiskFault,
    ::testing::Values(Fault{"full", "size=16m", LeaveKibibytes<0>},
                      Fault{"room_for_a_folder", "size=16m", LeaveKibibytes<4>},
                      Fault{"room_for_a_small_jpeg", "size=16m", LeaveKibibytes<16>},
                      Fault{"room_for_a_small_bmp", "size=16m", LeaveKibibytes<48>},
                      Fault{"room_for_half_a_large_bmp", "size=16m", LeaveKibibytes<400>},
                      Fault{"no_more_files", "size=16m,nr_inodes=40", LeaveFiles<0>},
                      Fault{"one_more_file", "size=16m,nr_inodes=40", LeaveFiles<1>},
                      Fault{"three_more_files", "size=16m,nr_inodes=40", LeaveFiles<3>},
                      Fault{"read_only", "size=16m",
                            [](const SmallVolume& volume) { ASSERT_TRUE(volume.Close()); }},
                      Fault{"another_volume_than_tmp", "size=64m", [](const SmallVolume&) {}}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::system_test
