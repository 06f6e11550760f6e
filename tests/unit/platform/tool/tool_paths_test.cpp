#include "platform/tool/tool_paths.h"

#include <gtest/gtest.h>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

using Vector = std::vector<std::string>;

struct PathsCase {
  const char* name;
  Vector vector;
  const char* source;
  const char* behind;
  const char* before;
  const char* destination;
};

void PrintTo(const PathsCase& paths, std::ostream* out) { *out << paths.name; }

class PathsOf : public testing::TestWithParam<PathsCase> {};

TEST_P(PathsOf, AVectorAreFound) {
  const Vector& vector = GetParam().vector;
  const ToolPaths paths = FindToolPaths(ToolOf(vector[0]), vector);
  EXPECT_TRUE(paths.understood);
  EXPECT_EQ(paths.source.path, GetParam().source);
  EXPECT_EQ(paths.source.behind, GetParam().behind);
  EXPECT_EQ(paths.destination.before, GetParam().before);
  EXPECT_EQ(paths.destination.path, GetParam().destination);
  EXPECT_EQ(vector[paths.source.index],
            paths.source.before + paths.source.path + paths.source.behind);
}

const PathsCase kVectors[] = {
    {"Still",
     {"/usr/bin/convert", "-strip", "-colorspace", "sRGB", "/d/a.jpg[0]", "-thumbnail", "1x1",
      "-rotate", "0", "-flop", "-rotate", "0", "/d/out.jpg"},
     "/d/a.jpg",
     "[0]",
     "",
     "/d/out.jpg"},
    {"NameThatEndsLikeAFrame",
     {"/usr/bin/convert", "-strip", "/d/a[0][0]", "-crop", "1x1+0+0", "/d/out[0]"},
     "/d/a[0]",
     "[0]",
     "",
     "/d/out[0]"},
    {"Frames",
     {"/usr/bin/convert", "/d/a.gif", "-coalesce", "/t/b.gif"},
     "/d/a.gif",
     "",
     "",
     "/t/b.gif"},
    {"FramesOfANameThatEndsLikeAFrame",
     {"/usr/bin/convert", "/d/a[0]", "-coalesce", "/t/b[0]"},
     "/d/a[0]",
     "",
     "",
     "/t/b[0]"},
    {"Animation",
     {"/usr/bin/convert", "-strip", "-thumbnail", "1x1", "-rotate", "0", "-layers", "optimize",
      "/t/b[0]", "-rotate", "0", "/d/out.gif"},
     "/t/b[0]",
     "",
     "",
     "/d/out.gif"},
    {"Format",
     {"/usr/bin/convert", "/d/a[0]", "-strip", "jpeg:/d/a:/b"},
     "/d/a",
     "[0]",
     "jpeg:",
     "/d/a:/b"},
    {"Decoder",
     {"/usr/bin/djpeg", "-scale", "1/8", "-dct", "fast", "-fast", "-onepass", "-bmp", "-outfile",
      "/d/out", "/d/a"},
     "/d/a",
     "",
     "",
     "/d/out"},
    {"Encoder",
     {"/usr/bin/cjpeg", "-quality", "85", "-outfile", "/d/out", "/d/a"},
     "/d/a",
     "",
     "",
     "/d/out"},
    {"Turn", {"/usr/bin/jpegtran", "-trim", "-rotate", "90", "/d/a"}, "/d/a", "", "", ""},
    {"Raw", {"/usr/bin/dcraw", "-6", "-w", "-c", "-e", "/d/a"}, "/d/a", "", "", ""},
    {"ScreenshotByFfmpeg",
     {"/usr/bin/ffmpeg",
      "-nostdin",
      "-v",
      "quiet",
      "-y",
      "-protocol_whitelist",
      "file",
      "-format_whitelist",
      "mov,avi",
      "-i",
      "file:/d/a:b.mp4",
      "-an",
      "-sn",
      "-vf",
      "thumbnail",
      "-frames:v",
      "1",
      "-q:v",
      "3",
      "-f",
      "mjpeg",
      "file:/d/out"},
     "/d/a:b.mp4",
     "",
     "file:",
     "/d/out"},
    {"Screenshot",
     {"/usr/bin/ffmpegthumbnailer", "-i", "/d/a.mp4", "-o", "/d/out", "-s", "0", "-q", "8", "-c",
      "jpeg"},
     "/d/a.mp4",
     "",
     "",
     "/d/out"},
    {"Move", {"/bin/mv", "/d/a", "/e/b"}, "/d/a", "", "", "/e/b"}};

INSTANTIATE_TEST_SUITE_P(, PathsOf, testing::ValuesIn(kVectors), vexathumb::kit::CaseName());

struct OtherCase {
  const char* name;
  Vector vector;
};

void PrintTo(const OtherCase& other, std::ostream* out) { *out << other.name; }

class PathsOfOther : public testing::TestWithParam<OtherCase> {};

TEST_P(PathsOfOther, VectorsAreNotGuessed) {
  const Vector& vector = GetParam().vector;
  EXPECT_FALSE(FindToolPaths(ToolOf(vector[0]), vector).understood);
}

const OtherCase kOthers[] = {
    {"Question", {"/usr/bin/convert", "-version"}},
    {"UnknownOption", {"/usr/bin/convert", "-write", "/a", "/b", "/c"}},
    {"ThreeOperands", {"/usr/bin/convert", "/a", "/b", "/c"}},
    {"OneOperand", {"/usr/bin/convert", "/a"}},
    {"ValueInTheLastPlace", {"/usr/bin/djpeg", "/a", "-outfile"}},
    {"RelativeThatLooksLikeAnOption", {"/usr/bin/djpeg", "-a.jpg"}},
    {"EmptyPath", {"/usr/bin/djpeg", ""}},
    {"TwoInputs", {"/usr/bin/ffmpeg", "-i", "file:/a", "-i", "file:/b", "file:/c"}},
    {"ProtocolOfAnotherKind", {"/usr/bin/ffmpeg", "-i", "concat:/a|/b", "file:/c"}},
    {"NoProtocol", {"/usr/bin/ffmpeg", "-i", "file:/a", "/c"}},
    {"NoDestination", {"/usr/bin/ffmpegthumbnailer", "-i", "/a"}},
    {"OtherProgram", {"/bin/true", "/a"}}};

INSTANTIATE_TEST_SUITE_P(, PathsOfOther, testing::ValuesIn(kOthers), vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
