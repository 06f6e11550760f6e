#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::ReadFile;
using vexathumb::kit::WriteFile;

struct NameCase {
  const char* name;
  std::string text;
};

void PrintTo(const NameCase& name, std::ostream* out) { *out << name.name; }

const std::vector<NameCase>& HazardousNames() {
  static const std::vector<NameCase> names = {{"decimal", "%d"},
                                              {"padded", "%03d"},
                                              {"decimal_jpg", "100%d.jpg"},
                                              {"hex", "%x"},
                                              {"octal", "%o"},
                                              {"escaped_decimal", "%%d"},
                                              {"percent", "%"},
                                              {"percent_end", "a%"},
                                              {"string", "%s"},
                                              {"numbered_string", "%1$s"},
                                              {"attribute", "%[fx:1]"},
                                              {"attribute_jpg", "%[fx:1+1].jpg"},
                                              {"width", "%[width]"},
                                              {"filename", "%[filename:a]"},
                                              {"letter", "%w"},
                                              {"bytes", "%b"},
                                              {"frame", "[0]"},
                                              {"frame_one", "[1]"},
                                              {"bracketed", "[b]"},
                                              {"bracketed_jpg", "a[1].jpg"},
                                              {"frames", "a[0-2]"},
                                              {"ends_in_frame", "a.jpg[0]"},
                                              {"ends_in_two", "a.jpg[0][0]"},
                                              {"size", "a[10x10]"},
                                              {"crop", "a[10x10+1+1].jpg"},
                                              {"open_bracket", "a[.jpg"},
                                              {"closed_bracket", "a].jpg"},
                                              {"star", "*"},
                                              {"star_jpg", "*.jpg"},
                                              {"question", "?"},
                                              {"question_jpg", "?.jpg"},
                                              {"braces", "{a,b}"},
                                              {"braces_jpg", "{0,1}.jpg"},
                                              {"open_brace", "{"},
                                              {"range", "{0..3}"},
                                              {"colon", ":"},
                                              {"png_prefix", "png:a.jpg"},
                                              {"msl_prefix", "msl:a.jpg"},
                                              {"msl", "a.msl"},
                                              {"svg", "a.svg"},
                                              {"mvg", "a.mvg"},
                                              {"ephemeral", "ephemeral:a.jpg"},
                                              {"https", "https:a.jpg"},
                                              {"text", "text:a"},
                                              {"label", "label:a"},
                                              {"at", "@a.jpg"},
                                              {"at_alone", "@"},
                                              {"dash", "-"},
                                              {"dash_x", "-x"},
                                              {"dash_outfile", "-outfile"},
                                              {"tilde", "~"},
                                              {"tilde_root", "~root"},
                                              {"newline", "a\nb.jpg"},
                                              {"return", "a\rb"},
                                              {"tab", "a\tb.jpg"},
                                              {"escape", "a\x1b[31m.jpg"},
                                              {"not_utf8", "a\xff\xfe.jpg"},
                                              {"umlaut", "\xc3\xa4.jpg"},
                                              {"blank", " "},
                                              {"blanks", " a  b .jpg"},
                                              {"quote", "a'b.jpg"},
                                              {"double_quote", "a\"b.jpg"},
                                              {"backslash", "a\\b.jpg"},
                                              {"shell", "$(id);`id`&|.jpg"},
                                              {"hash", "#a.jpg"},
                                              {"dots", "..."},
                                              {"dot_end", "a."},
                                              {"longest", std::string(255, 'n')},
                                              {"longest_percent", std::string(253, '%') + "d"}};
  return names;
}

// The files that a name would lead to, if it were expanded, numbered or evaluated.
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

class ToolName : public ToolTest, public testing::WithParamInterface<NameCase> {
 protected:
  ToolName() {
    vexathumb::kit::WriteJpeg(picture_);
    vexathumb::kit::WritePng(decoy_, {{40, 30}});
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
  }

  void PutDecoy(const std::string& path) const {
    std::error_code ignored;  // too long, then
    std::filesystem::copy_file(decoy_, path, std::filesystem::copy_options::overwrite_existing,
                               ignored);
  }

  using Run = int (ToolName::*)(const std::string&, const std::string&) const;
  std::vector<Run> Runs() const {
    return {&ToolName::RunConvert, &ToolName::RunDjpeg, &ToolName::RunJpegtran};
  }

  // What the tool makes of the picture where all names are plain.
  std::string Right(Run run) const {
    EXPECT_EQ((this->*run)(picture_, folder_ / "right"), 0);
    return ReadFile(folder_ / "right");
  }

  int RunConvert(const std::string& source, const std::string& target) const {
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

  int RunDjpeg(const std::string& source, const std::string& target) const {
    const char* const argv[] = {"/usr/bin/djpeg", "-scale",       "1/4",          "-bmp",
                                "-outfile",       target.c_str(), source.c_str(), nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  int RunJpegtran(const std::string& source, const std::string& target) const {
    const char* const argv[] = {"/usr/bin/jpegtran", "-trim",        "-rotate",      "90",
                                "-outfile",          target.c_str(), source.c_str(), nullptr};
    return VLIBCExecv(argv[0], argv, 1);
  }

  int RunConvertOnFrames(const std::string& source, const std::string& target) const {
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
};

TEST_P(ToolName, IsReadAsItStands) {
  for (const Run run : Runs()) {
    const std::string right = Right(run);
    for (const std::string& folder : Folders("sources")) {
      const std::string source = SourceIn(folder);
      const auto before = Snapshot(folder_.path());
      EXPECT_EQ((this->*run)(source, destination()), 0);
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
      EXPECT_EQ((this->*run)(picture_, target), 0);
      EXPECT_TRUE(ReadFile(target) == right);
      ExpectOnlyChange(before, folder_.path(), target);
    }
  }
}

TEST_P(ToolName, OfAnAnimationIsReadAsItStands) {
  vexathumb::kit::WriteAnimatedGif(picture_, {60, 40}, 3);
  const std::string right = Right(&ToolName_OfAnAnimationIsReadAsItStands_Test::RunConvertOnFrames);
  const std::string source = SourceIn(folder_ / "animations");
  const std::string target = folder_ / "results/frames.gif";
  EXPECT_EQ(RunConvertOnFrames(source, target), 0);
  EXPECT_TRUE(ReadFile(target) == right);
}

INSTANTIATE_TEST_SUITE_P(, ToolName, testing::ValuesIn(HazardousNames()),
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
