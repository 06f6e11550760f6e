#include "platform/tool/allowed_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "kit/run_tool.h"
#include "platform/sandbox/seccomp_filter.h"
#include "platform/tool/supervisor.h"
#include "platform/tool/tool_plan.h"
#include "unit/platform/tool/listened_thread.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using namespace vexathumb::kit;
using testing::IsEmpty;

struct CallsCase {
  const char* name;
  const char* extension;  // of the source
  void (*write)(const std::string& source);
  const char* vector;  // SOURCE and TARGET stand for the paths
};

void PrintTo(const CallsCase& calls, std::ostream* out) { *out << calls.name; }

class CallsOfARealTool : public ToolTest, public testing::WithParamInterface<CallsCase> {
 protected:
  CallsOfARealTool() {
    const std::string source = folder_ / "pictures/source" + GetParam().extension;
    GetParam().write(source);
    std::istringstream words(GetParam().vector);
    for (std::string word; words >> word;) {
      Replace("SOURCE", source, &word);
      Replace("TARGET", folder_ / "results/target", &word);
      vector_.push_back(word);
    }
  }

  static void Replace(const std::string& name, const std::string& path, std::string* word) {
    const size_t at = word->find(name);
    if (at != std::string::npos) word->replace(at, name.size(), path);
  }

  std::vector<std::string> vector_;
};

TEST_P(CallsOfARealTool, AreAllowed) {
  if (!HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  std::vector<const char*> argv;
  for (const std::string& word : vector_) argv.push_back(word.c_str());
  argv.push_back(nullptr);
  const auto plan = PlanTool(argv[0], argv.data());
  ASSERT_NE(plan, nullptr);
  ASSERT_TRUE(plan->order.confined);
  plan->order.filter.clear();
  ToolOutcome outcome;
  const auto refused =
      RefusedCalls(ToolFilter(plan->tool), [&] { outcome = RunSupervised(plan->order, {}, -1); });
  EXPECT_THAT(refused, IsEmpty()) << "to be allowed, if they are harmless";
  EXPECT_TRUE(outcome.started);
  EXPECT_EQ(outcome.wait_status, 0);
}

void WriteAs(const std::string& path, const char* format) {
  WritePng(path + ".png");
  RunTool({"/usr/bin/convert", path + ".png", "-type", "TrueColor", "-compress", "None",
           std::string(format) + ":" + path});
}

void WriteProgressiveJpeg(const std::string& path) {
  WriteJpeg(path + ".jpg");
  RunTool({"/usr/bin/jpegtran", "-progressive", "-outfile", path, path + ".jpg"});
}

void WriteDecodedJpeg(const std::string& path) {
  WriteJpeg(path + ".jpg");
  RunTool({"/usr/bin/djpeg", "-bmp", "-outfile", path, path + ".jpg"});
}

// Of so many pixels that they have to lie in files.
void WriteHuge(const std::string& path) {
  WriteFile(path, "P4 8000 5000\n" + std::string(size_t{1000} * 5000, 'x'));
}

void WriteNothing(const std::string& path) { WriteFile(path, ""); }

#define STILL "/usr/bin/convert -strip -colorspace sRGB SOURCE[0] -thumbnail 90x90 -rotate 90 "

INSTANTIATE_TEST_SUITE_P(
    OfConvert, CallsOfARealTool,
    testing::Values(
        CallsCase{"Jpeg", ".jpg", [](const std::string& path) { WriteJpeg(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"ProgressiveJpeg", ".jpg", WriteProgressiveJpeg, STILL "TARGET.jpg"},
        CallsCase{"Png", ".png", [](const std::string& path) { WritePng(path); },
                  STILL "TARGET.png"},
        CallsCase{"PngAsPng8", ".png", [](const std::string& path) { WriteTransparentPng(path); },
                  STILL "png:TARGET.png"},
        CallsCase{"Tiff", ".tif", [](const std::string& path) { WriteTiff(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"Webp", ".webp", [](const std::string& path) { WriteWebp(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"ToWebp", ".png", [](const std::string& path) { WritePng(path); },
                  STILL "TARGET.webp"},
        CallsCase{"Bmp", ".bmp", [](const std::string& path) { WriteBmp(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"Gif", ".gif", [](const std::string& path) { WriteGif(path); },
                  STILL "TARGET.gif"},
        CallsCase{"Heic", ".heic", [](const std::string& path) { WriteHeic(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"Avif", ".avif", [](const std::string& path) { WriteAvif(path); },
                  STILL "TARGET.jpg"},
        CallsCase{"Psd", ".psd", [](const std::string& path) { WriteAs(path, "psd"); },
                  STILL "TARGET.jpg"},
        CallsCase{"Jpeg2000", ".jp2", [](const std::string& path) { WriteAs(path, "jp2"); },
                  STILL "TARGET.jpg"},
        CallsCase{"MorePixelsThanMemory", ".pbm", WriteHuge, STILL "TARGET.jpg"},
        CallsCase{"Frames", ".gif", [](const std::string& path) { WriteAnimatedGif(path); },
                  "/usr/bin/convert SOURCE -coalesce TARGET.gif"},
        CallsCase{"ScaledFrames", ".gif", [](const std::string& path) { WriteAnimatedGif(path); },
                  "/usr/bin/convert -strip -colorspace sRGB -thumbnail 90x90 -rotate 0 -layers "
                  "optimize SOURCE -rotate 90 TARGET.gif"},
        CallsCase{"Avatar", ".jpg", [](const std::string& path) { WriteJpeg(path); },
                  "/usr/bin/convert -strip SOURCE[0] -resize 90x90 -gravity center -background "
                  "white -extent 90x90 TARGET.jpg"},
        CallsCase{"ListOfFormats", "", WriteNothing, "/usr/bin/convert -list format"}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    OfOthers, CallsOfARealTool,
    testing::Values(CallsCase{"Djpeg", ".jpg", [](const std::string& path) { WriteJpeg(path); },
                              "/usr/bin/djpeg -scale 1/2 -fast -bmp -outfile TARGET SOURCE"},
                    CallsCase{"DjpegOfAProgressiveJpeg", ".jpg", WriteProgressiveJpeg,
                              "/usr/bin/djpeg -scale 1/2 -fast -bmp -outfile TARGET SOURCE"},
                    CallsCase{"Jpegtran", ".jpg", [](const std::string& path) { WriteJpeg(path); },
                              "/usr/bin/jpegtran -rotate 90 -trim -outfile TARGET SOURCE"},
                    CallsCase{"Cjpeg", ".bmp", WriteDecodedJpeg,
                              "/usr/bin/cjpeg -quality 85 -optimize -outfile TARGET SOURCE"},
                    CallsCase{"Dcraw", ".dng", [](const std::string& path) { WriteDng(path); },
                              "/usr/bin/dcraw -c -e SOURCE"},
                    CallsCase{"DcrawDevelops", ".dng",
                              [](const std::string& path) { WriteDng(path); },
                              "/usr/bin/dcraw -6 -w -c SOURCE"},
                    CallsCase{"Mv", "", [](const std::string& path) { WriteFile(path, "moved"); },
                              "/bin/mv -f -T SOURCE TARGET"}),
    CaseName());

// `options` say how it is kept.
void WriteVideo(const std::string& path, const std::vector<std::string>& options) {
  std::vector<std::string> argv = {
      "/usr/bin/ffmpeg", "-nostdin", "-v",
      "error",           "-y",       "-f",
      "lavfi",           "-i",       "testsrc=size=160x120:duration=1"};
  argv.insert(argv.end(), options.begin(), options.end());
  argv.push_back(path);
  RunTool(argv);
}

void WriteMp4(const std::string& path) { WriteVideo(path, {"-c:v", "libx264", "-f", "mp4"}); }
void WriteMovie(const std::string& path) { WriteVideo(path, {"-c:v", "mpeg4", "-f", "mov"}); }
void WriteMkv(const std::string& path) { WriteVideo(path, {"-c:v", "libvpx-vp9", "-f", "webm"}); }
void WriteAvi(const std::string& path) { WriteVideo(path, {"-c:v", "mjpeg", "-f", "avi"}); }
void WriteTs(const std::string& path) { WriteVideo(path, {"-c:v", "libx265", "-f", "mpegts"}); }

#define FFMPEG                                                                                \
  "/usr/bin/ffmpeg -nostdin -v quiet -y -protocol_whitelist file -format_whitelist "          \
  "mov,matroska,avi,mpegts -i file:SOURCE -an -sn -vf thumbnail -frames:v 1 -q:v 3 -f mjpeg " \
  "file:TARGET"
#define FFMPEGTHUMBNAILER "/usr/bin/ffmpegthumbnailer -i SOURCE -o TARGET -s 0 -q 8 -c jpeg"

INSTANTIATE_TEST_SUITE_P(OfFfmpeg, CallsOfARealTool,
                         testing::Values(CallsCase{"Mp4", ".mp4", WriteMp4, FFMPEG},
                                         CallsCase{"Movie", ".mov", WriteMovie, FFMPEG},
                                         CallsCase{"Mkv", ".mkv", WriteMkv, FFMPEG},
                                         CallsCase{"Avi", ".avi", WriteAvi, FFMPEG},
                                         CallsCase{"Ts", ".ts", WriteTs, FFMPEG}),
                         CaseName());

INSTANTIATE_TEST_SUITE_P(OfFfmpegThumbnailer, CallsOfARealTool,
                         testing::Values(CallsCase{"Mp4", ".mp4", WriteMp4, FFMPEGTHUMBNAILER},
                                         CallsCase{"Movie", ".mov", WriteMovie, FFMPEGTHUMBNAILER},
                                         CallsCase{"Mkv", ".mkv", WriteMkv, FFMPEGTHUMBNAILER},
                                         CallsCase{"Avi", ".avi", WriteAvi, FFMPEGTHUMBNAILER},
                                         CallsCase{"Ts", ".ts", WriteTs, FFMPEGTHUMBNAILER}),
                         CaseName());

// From where temporary files lie to where they are kept, as a rule.
TEST_F(ToolTest, MayDoWhatMovingAcrossVolumesTakes) {
  const std::string memory = "/dev/shm/vexathumb_test_" + std::to_string(getpid());
  WriteFile(memory, "moved");
  const std::string target = destination();
  const char* const argv[] = {"/bin/mv", memory.c_str(), target.c_str(), nullptr};
  const auto plan = PlanTool(argv[0], argv);
  plan->order.filter.clear();
  const auto refused =
      RefusedCalls(ToolFilter(plan->tool), [&] { RunSupervised(plan->order, {}, -1); });
  EXPECT_THAT(refused, IsEmpty());
  EXPECT_EQ(ReadFile(plan->staged), "moved");
  EXPECT_FALSE(std::filesystem::exists(memory));
}

}  // namespace
}  // namespace vexaplatform
