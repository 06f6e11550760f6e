#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "kit/case_name.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::HazardousName;
using vexathumb::kit::ReadFile;
using vexathumb::kit::WriteFile;

// What names lead to when they are expanded, numbered or evaluated, besides their own decoys.
constexpr const char* kDecoys[] = {"0",        "1",        "000",      "001",     "1.jpg", "0.jpg",
                                   "2.jpg",    "a",        "b",        "a.jpg",   "x",     "%d0",
                                   "a.jpg[1]", "1000.jpg", "1001.jpg", "100.jpg", "%0"};

// Every file below a folder, with what is in it.
std::map<std::string, std::string> Snapshot(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files[entry.path().string()] = ReadFile(entry.path().string());
  }
  return files;
}

class ToolName : public ToolTest, public testing::WithParamInterface<HazardousName> {
 protected:
  // Drawn once: the pictures are the same for every name.
  static void SetUpTestSuite() {
    const vexathumb::kit::TempDir folder;
    vexathumb::kit::WriteJpeg(folder / "picture");
    vexathumb::kit::WritePng(folder / "decoy", {{40, 30}});
    picture_bytes_ = ReadFile(folder / "picture");
    decoy_bytes_ = ReadFile(folder / "decoy");
    right_.clear();
  }

  ToolName() {
    WriteFile(picture_, picture_bytes_);
    WriteFile(decoy_, decoy_bytes_);
  }

  // A folder with the picture under the name, and pictures of another size under the decoys'.
  // The name is one of a file, and of a folder too.
  std::vector<std::string> Folders(const std::string& plain) const {
    return {folder_ / plain, folder_ / "of/" + GetParam().text};
  }

  std::string SourceIn(const std::string& folder) const {
    const std::string path = folder + "/" + GetParam().text;
    std::filesystem::create_directories(folder);
    PutDecoys(folder);
    PutDecoy(path + "[0]");
    std::filesystem::copy_file(picture_, path, std::filesystem::copy_options::overwrite_existing);
    return path;
  }

  void PutDecoys(const std::string& folder) const {
    for (const char* decoy : kDecoys) PutDecoy(folder + "/" + decoy);
    for (const std::string& decoy : GetParam().decoys) PutDecoy(folder + "/" + decoy);
  }

  void PutDecoy(const std::string& path) const {
    std::error_code ignored;  // too long, then
    std::filesystem::copy_file(decoy_, path, std::filesystem::copy_options::overwrite_existing,
                               ignored);
  }

  using Run = int (*)(const std::string& source, const std::string& target);
  static std::vector<Run> Runs() { return {RunConvert, RunDjpeg, RunJpegtran}; }

  // What the tool makes of the picture where all names are plain.
  std::string Right(Run run) const {
    std::string& right = right_[run];
    if (right.empty()) {
      EXPECT_EQ(run(picture_, folder_ / "right"), 0);
      right = ReadFile(folder_ / "right");
    }
    return right;
  }

  static int RunConvert(const std::string& source, const std::string& target) {
    const std::string frame = source + "[0]";
    const char* const argv[] = {"/usr/bin/convert",
                                "-strip",
                                "-colorspace",
                                "sRGB",
                                frame.c_str(),
                                "-thumbnail",
                                "100x100",
                                "-rotate",
                                "0",
                                "-rotate",
                                "0",
                                target.c_str(),
                                nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  static int RunDjpeg(const std::string& source, const std::string& target) {
    const char* const argv[] = {"/usr/bin/djpeg", "-scale",       "1/4",          "-bmp",
                                "-outfile",       target.c_str(), source.c_str(), nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  static int RunJpegtran(const std::string& source, const std::string& target) {
    const char* const argv[] = {"/usr/bin/jpegtran", "-trim",        "-rotate",      "90",
                                "-outfile",          target.c_str(), source.c_str(), nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  static int RunConvertOnFrames(const std::string& source, const std::string& target) {
    const char* const argv[] = {"/usr/bin/convert", source.c_str(), "-coalesce", target.c_str(),
                                nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  // The file at the path is all that is new or other than before.
  void ExpectOnlyChange(const std::map<std::string, std::string>& before, const std::string& folder,
                        const std::string& path) const {
    for (const auto& [file, bytes] : Snapshot(folder)) {
      if (file == path) continue;
      const auto former = before.find(file);
      EXPECT_TRUE(former != before.end() && former->second == bytes) << file;
    }
  }

  const std::string picture_ = folder_ / "picture";
  const std::string decoy_ = folder_ / "decoy";

 private:
  static inline std::string picture_bytes_;
  static inline std::string decoy_bytes_;
  static inline std::map<Run, std::string> right_;
};

TEST_P(ToolName, IsReadAsItStands) {
  for (const Run run : Runs()) {
    const std::string right = Right(run);
    for (const std::string& folder : Folders("sources")) {
      const std::string source = SourceIn(folder);
      const auto before = Snapshot(folder_.path());
      EXPECT_EQ(run(source, destination()), 0);
      EXPECT_TRUE(ReadFile(destination()) == right);
      ExpectOnlyChange(before, folder_.path(), destination());
    }
  }
}

TEST_P(ToolName, IsWrittenAsItStands) {
  for (const Run run : Runs()) {
    const std::string right = Right(run);
    for (const std::string& folder : Folders("targets")) {
      const std::string target = folder + "/" + GetParam().text;
      std::filesystem::create_directories(folder);
      PutDecoys(folder);
      std::filesystem::remove(target);
      const auto before = Snapshot(folder_.path());
      EXPECT_EQ(run(picture_, target), 0);
      EXPECT_TRUE(ReadFile(target) == right);
      ExpectOnlyChange(before, folder_.path(), target);
    }
  }
}

TEST_P(ToolName, OfAnAnimationIsReadAsItStands) {
  vexathumb::kit::WriteAnimatedGif(picture_, {60, 40}, 3);
  const std::string right = Right(RunConvertOnFrames);
  const std::string source = SourceIn(folder_ / "animations");
  const std::string target = folder_ / "results/frames.gif";
  EXPECT_EQ(RunConvertOnFrames(source, target), 0);
  EXPECT_TRUE(ReadFile(target) == right);
}

INSTANTIATE_TEST_SUITE_P(, ToolName, testing::ValuesIn(vexathumb::kit::HazardousNames()),
                         vexathumb::kit::CaseName());

// With nothing behind them, names may be longer.
INSTANTIATE_TEST_SUITE_P(OfAllThereIsRoomFor, ToolName,
                         testing::Values(HazardousName{"longest", std::string(255, 'n'), {}},
                                         HazardousName{
                                             "longest_numbered", std::string(253, '%') + "d", {}}),
                         vexathumb::kit::CaseName());

TEST_F(ToolTest, ReadsAndWritesTheLongestPaths) {
  std::string folder = folder_.path();
  while (folder.size() + 200 < 4000) folder += "/" + std::string(180, 'd');
  folder += "/" + std::string(4080 - folder.size(), 'e');
  std::filesystem::create_directories(folder);
  const std::string path = folder + "/a.jpg";
  vexathumb::kit::WriteJpeg(folder_ / "picture");
  std::filesystem::copy_file(folder_ / "picture", path);
  const std::string frame = path + "[0]";
  const std::string target = folder + "/b.png";
  const char* const argv[] = {"/usr/bin/convert", "-strip", frame.c_str(), target.c_str(), nullptr};
  EXPECT_EQ(VLIBCExecv(argv[0], argv, 1), 0);
  EXPECT_GT(std::filesystem::file_size(target), 0U);
}

}  // namespace
}  // namespace vexaplatform
