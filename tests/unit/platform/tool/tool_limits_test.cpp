#include <gmock/gmock.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "kit/case_name.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using vexathumb::kit::CaseName;
using vexathumb::kit::TakeLog;

struct LimitCase {
  const char* name;
  const char* settings;
  const char* order;
  ToolLimit limit;
  const char* text;
};

void PrintTo(const LimitCase& limit, std::ostream* out) { *out << limit.name; }

const LimitCase kLimits[] = {
    {"AddressSpace", "address_space = 100\n", "allocate", ToolLimit::kAddressSpace,
     "address space of 100 MiB"},
    {"CpuTime", "cpu_time = 1\nwall_time = 3600\n", "burn", ToolLimit::kCpuTime, "CPU time of 1 s"},
    {"WallTime", "wall_time = 1\n", "hang", ToolLimit::kWallTime, "wall time of 1 s"},
    {"WallTimeOfOneThatIgnoresTheSignal", "wall_time = 1\n", "stubborn", ToolLimit::kWallTime,
     "wall time of 1 s"},
    {"WallTimeOfOneThatFloods", "wall_time = 1\n", "flood", ToolLimit::kWallTime,
     "wall time of 1 s"},
    {"OpenFiles", "open_files = 20\n", "open", ToolLimit::kOpenFiles, "open files, 20"},
};

class ToolLimitTest : public ToolTest, public testing::WithParamInterface<LimitCase> {
 protected:
  void ExpectTold(const std::string& tool) const {
    const ToolReport report = LastToolRun();
    EXPECT_EQ(report.ending, ToolEnding::kLimited);
    EXPECT_EQ(report.detail, static_cast<int>(GetParam().limit));
    const auto log = TakeLog();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_THAT(log[0].text, HasSubstr(Program(tool) + " met its limit: " + GetParam().text));
    EXPECT_THAT(log[0].text, HasSubstr("; source " + source()));
  }
};

TEST_P(ToolLimitTest, EndsATool) {
  Set("[tool convert]\n" + std::string(GetParam().settings));
  EXPECT_EQ(Convert(GetParam().order), VLIBC_ENDED_BY_LIMIT);
  ExpectTold("convert");
  EXPECT_FALSE(LeftTemporaries());
}

TEST_P(ToolLimitTest, EndsAToolWhileItsOutputIsRead) {
  Set("[tool dcraw]\n" + std::string(GetParam().settings));
  FILE* stream = OpenDcraw(GetParam().order);
  ASSERT_NE(stream, nullptr);
  char block[4096];
  while (fread(block, 1, sizeof(block), stream) > 0) {
  }
  // An ordinary exit status is the reader's to judge, when it closes the stream.
  const bool exits =
      GetParam().limit == ToolLimit::kAddressSpace || GetParam().limit == ToolLimit::kOpenFiles;
  EXPECT_EQ(ferror(stream) == 0, exits);
  EXPECT_EQ(VLIBCPclose(stream), VLIBC_ENDED_BY_LIMIT);
  ExpectTold("dcraw");
}

INSTANTIATE_TEST_SUITE_P(, ToolLimitTest, testing::ValuesIn(kLimits), CaseName());

TEST_F(ToolTest, MeetsItsLimitOfFileSize) {
  Set("[tool convert]\nfile_size = 1\n");
  EXPECT_EQ(Convert("fill"), VLIBC_ENDED_BY_LIMIT);
  EXPECT_EQ(LastToolRun().detail, static_cast<int>(ToolLimit::kFileSize));
  EXPECT_EQ(std::filesystem::file_size(destination()), 1U << 20U);
}

struct RealLimitCase {
  const char* name;
  std::vector<const char*> vector;  // SOURCE, FRAME and TARGET stand for the paths
  std::string picture;
  ToolLimit limit;
  const char* text;
};

void PrintTo(const RealLimitCase& limit, std::ostream* out) { *out << limit.name; }

class LimitOfARealTool : public ToolTest, public testing::WithParamInterface<RealLimitCase> {};

TEST_P(LimitOfARealTool, IsNamedInTheLog) {
  Order(GetParam().picture);
  std::vector<std::string> words(GetParam().vector.begin(), GetParam().vector.end());
  std::vector<const char*> argv;
  for (std::string& word : words) {
    word = word == "SOURCE"   ? source()
           : word == "FRAME"  ? source() + "[0]"
           : word == "TARGET" ? destination()
                              : word;
    argv.push_back(word.c_str());
  }
  argv.push_back(nullptr);
  EXPECT_EQ(VLIBCExecv(argv[0], argv.data(), 1), VLIBC_ENDED_BY_LIMIT);
  EXPECT_EQ(LastToolRun().detail, static_cast<int>(GetParam().limit));
  const auto log = TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_THAT(log[0].text, HasSubstr(words[0] + " met its limit: " + GetParam().text));
  EXPECT_THAT(log[0].text, HasSubstr("; source " + source()));
}

// The frame header of a gray JPEG of 65500 x 65500, sequential or progressive, and what is needed
// to get as far as its decoding.
std::string HugeJpeg(char start_of_frame) {
  const std::string quantization = "\xff\xdb\0\x43\0"s + std::string(64, '\1');
  const std::string frame = "\xff"s + start_of_frame + "\0\x0b\x08\xff\xdc\xff\xdc\1\1\x11\0"s;
  const std::string counts = "\1"s + std::string(15, '\0');
  const std::string codes =
      "\xff\xc4\0\x14\0"s + counts + "\0"s + "\xff\xc4\0\x14\x10"s + counts + "\0"s;
  const char last = start_of_frame == '\xc2' ? '\0' : '\x3f';
  const std::string scan = "\xff\xda\0\x08\1\1\0\0"s + last + "\0"s;
  return "\xff\xd8"s + quantization + frame + codes + scan + "\0\xff\xd9"s;
}

INSTANTIATE_TEST_SUITE_P(
    , LimitOfARealTool,
    testing::Values(RealLimitCase{"JpegtransMemory",
                                  {"/usr/bin/jpegtran", "-rotate", "90", "-outfile", "TARGET",
                                   "SOURCE"},
                                  HugeJpeg('\xc0'),
                                  ToolLimit::kJpegMemory,
                                  "memory for a JPEG of 512 MiB"},
                    RealLimitCase{"DjpegsMemory",
                                  {"/usr/bin/djpeg", "-bmp", "-outfile", "TARGET", "SOURCE"},
                                  HugeJpeg('\xc2'),
                                  ToolLimit::kJpegMemory,
                                  "memory for a JPEG of 512 MiB"},
                    RealLimitCase{"ConvertsPolicy",
                                  {"/usr/bin/convert", "-strip", "FRAME", "TARGET"},
                                  "P5 40000 1 255\n" + std::string(40000, 'x'),
                                  ToolLimit::kPolicy,
                                  "one of ImageMagick's policy"}),
    CaseName());

struct RefusalCase {
  const char* name;
  const char* message;
  int error;
};

void PrintTo(const RefusalCase& refusal, std::ostream* out) { *out << refusal.name; }

class RefusalOfTheMachine : public ToolTest, public testing::WithParamInterface<RefusalCase> {};

TEST_P(RefusalOfTheMachine, IsReportedByTheToolsMessage) {
  const char* const argv[] = {"sh", "-c", "echo \"x: $0\" >&2; exit 1", GetParam().message,
                              nullptr};
  EXPECT_EQ(VLIBCExecv("/bin/sh", argv, 1) == 0, false);
  EXPECT_EQ(LastToolRun().machine_error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    , RefusalOfTheMachine,
    testing::Values(
        RefusalCase{"NoRoom", "No space left on device", ENOSPC},
        RefusalCase{"NoRoomByLibjpeg", "Output file write error --- out of disk space?", ENOSPC},
        RefusalCase{"NoRoomByImageMagick", "unable to write file `a.png` @ error", ENOSPC},
        RefusalCase{"Quota", "Disk quota exceeded", EDQUOT},
        RefusalCase{"Disk", "Input/output error", EIO},
        RefusalCase{"FileServer", "Stale file handle", ESTALE},
        RefusalCase{"ClosedVolume", "Read-only file system", EROFS},
        RefusalCase{"FilesOfAll", "Too many open files in system", ENFILE},
        RefusalCase{"Source", "unable to open image `a.png': Permission denied @ error", EACCES},
        RefusalCase{"SourceByLibjpeg", "can't open a.jpg", EACCES},
        RefusalCase{"Library", "libX.so: cannot open shared object file: No such file", ELIBACC},
        RefusalCase{"NothingButTheFile", "Not a JPEG file: starts with 0x74 0x65", 0},
        RefusalCase{"ALimitOfOurs", "Too many open files", 0}),
    CaseName());

struct LowerLimitCase {
  const char* name;
  __rlimit_resource resource;
  rlim_t limit;
  const char* order;
  int error;
};

void PrintTo(const LowerLimitCase& lower, std::ostream* out) { *out << lower.name; }

class LowerLimitOfTheHost : public ToolTest, public testing::WithParamInterface<LowerLimitCase> {};

TEST_P(LowerLimitOfTheHost, IsOfTheMachine) {
#ifdef VEXATHUMB_SANITIZED
  if (GetParam().resource == RLIMIT_AS) GTEST_SKIP() << "the sanitizer takes more than that";
#endif
  // In a process of its own: a hard limit cannot be raised again.
  const pid_t process = fork();
  if (process == 0) {
    const rlimit lower = {GetParam().limit, GetParam().limit};
    setrlimit(GetParam().resource, &lower);
    Convert(GetParam().order);
    const ToolReport report = LastToolRun();
    _exit(report.ending == ToolEnding::kLimited && report.machine_error == GetParam().error ? 0
                                                                                            : 1);
  }
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    , LowerLimitOfTheHost,
    testing::Values(LowerLimitCase{"Memory", RLIMIT_AS, rlim_t{400} << 20U, "allocate", ENOMEM},
                    LowerLimitCase{"FileSize", RLIMIT_FSIZE, 4096, "fill", EFBIG},
                    LowerLimitCase{"OpenFiles", RLIMIT_NOFILE, 60, "open", EMFILE}),
    CaseName());

TEST_F(ToolTest, AWallTimeThatWasOnlyWaitedThroughIsOfTheMachine) {
  Set("[tool convert]\nwall_time = 1\n");
  Convert("hang");
  EXPECT_EQ(LastToolRun().machine_error, ETIMEDOUT);
  EXPECT_EQ(LastToolRun().limit, "wall time of 1 s");
}

TEST_F(ToolTest, AWallTimeThatWasSpentAtWorkIsALimitOfTheTool) {
  Set("[tool convert]\nwall_time = 1\ncpu_time = 30\n");
  // Before everybody else on this machine, or it would only wait as well.
  constexpr int kMayNot = 2;
  const pid_t process = fork();
  if (process == 0) {
    const sched_param first = {sched_get_priority_min(SCHED_RR)};
    if (sched_setscheduler(0, SCHED_RR, &first) != 0) _exit(kMayNot);
    Convert("burn");
    const ToolReport report = LastToolRun();
    const bool is_limit = report.detail == static_cast<int>(ToolLimit::kWallTime);
    _exit(is_limit && report.machine_error == 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(process, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kMayNot) GTEST_SKIP() << "may not go first here";
  EXPECT_EQ(status, 0);
}

TEST_F(ToolTest, RunsAreReportedUntilTheyAreForgotten) {
  ForgetToolRuns();
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kNone);
  EXPECT_TRUE(ToolRuns().empty());
  const char* const argv[] = {"false", nullptr};
  VLIBCExecv("/bin/false", argv, 1);
  FILE* const stream = OpenDcraw("");
  VLIBCExecv("/nonexistent/tool", argv, 1);
  VLIBCPclose(stream);
  std::vector<std::string> programs;
  for (const ToolReport& run : ToolRuns()) programs.push_back(run.program);
  EXPECT_THAT(programs, testing::ElementsAre("/bin/false", "/nonexistent/tool", Program("dcraw")));
  EXPECT_EQ(ToolRuns()[0].ending, ToolEnding::kExited);
  EXPECT_EQ(ToolRuns()[1].ending, ToolEnding::kNotStarted);
  for (int i = 0; i < 100; ++i) VLIBCExecv("/bin/false", argv, 1);
  EXPECT_EQ(ToolRuns().size(), 16U);
}

TEST_F(ToolTest, PassesOnTheFirstOfAFloodOfMessages) {
  Set("[tool convert]\nwall_time = 1\n");
  testing::internal::CaptureStderr();
  Convert("flood");
  const size_t size = testing::internal::GetCapturedStderr().size();
  EXPECT_GT(size, 1000U);
  EXPECT_LE(size, size_t{64} << 10U);
}

struct ResultCase {
  const char* name;
  std::string picture;
  bool whole;
};

void PrintTo(const ResultCase& result, std::ostream* out) { *out << result.name; }

class ToolResult : public ToolTest, public testing::WithParamInterface<ResultCase> {};

TEST_P(ToolResult, IsLookedAtThoughTheToolSucceeded) {
  EXPECT_EQ(Djpeg("write\n" + GetParam().picture), GetParam().whole ? 0 : VLIBC_INCOMPLETE_RESULT);
  EXPECT_EQ(LastToolRun().ending,
            GetParam().whole ? ToolEnding::kSucceeded : ToolEnding::kIncomplete);
  EXPECT_EQ(TakeLog().size(), GetParam().whole ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(
    , ToolResult,
    testing::Values(
        ResultCase{"Empty", "", false}, ResultCase{"WholeBmp", "BM\x0a\0\0\0data"s, true},
        ResultCase{"CutBmp", "BM\x0b\0\0\0data"s, false},
        ResultCase{"WholeJpeg", "\xff\xd8\xff\xe0 data \xff\xd9", true},
        ResultCase{"CutJpeg", "\xff\xd8\xff\xe0 data", false},
        ResultCase{"WholePng", "\x89PNG\r\n\x1a\n data\0\0\0\0IEND\xae\x42\x60\x82"s, true},
        ResultCase{"CutPng", "\x89PNG\r\n\x1a\n data\0\0\0\0IEND"s, false},
        ResultCase{"WholeGif", "GIF89a data;", true}, ResultCase{"CutGif", "GIF89a data", false},
        ResultCase{"OtherFormat", "II*\0 data"s, true}),
    CaseName());

TEST_F(ToolTest, LeavesNoEmptyDestinationWhereItFails) {
  EXPECT_EQ(Convert("exit 1"), 1);
  EXPECT_FALSE(std::filesystem::exists(destination()));
}

TEST_F(ToolTest, EndsAStreamWithAnErrorWhenASignalEndsIt) {
  FILE* stream = OpenDcraw("cut\nhalf a picture");
  ASSERT_NE(stream, nullptr);
  char block[4096] = {};
  EXPECT_EQ(read(fileno(stream), block, sizeof(block)), 14);
  EXPECT_EQ(read(fileno(stream), block, sizeof(block)), -1);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_EQ(VLIBCPclose(stream), 256 + SIGSEGV);
}

struct RefusedDestination {
  const char* name;
  void (*make)(const std::string&);
  int error;
};

void PrintTo(const RefusedDestination& refused, std::ostream* out) { *out << refused.name; }

class DestinationThatIsNoFile : public ToolTest,
                                public testing::WithParamInterface<RefusedDestination> {};

TEST_P(DestinationThatIsNoFile, IsRefusedBeforeTheToolRuns) {
  GetParam().make(destination());
  EXPECT_EQ(Djpeg("write\nanything"), -1);
  EXPECT_EQ(errno, GetParam().error);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kNotStarted);
  const auto log = TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_THAT(log[0].text, HasSubstr("could not be run: " + destination() + ": "));
}

TEST_F(ToolTest, IsNotRunWithoutAPlaceForItsPrivateFolder) {
  settings_.Write("[tools]\ntemp_dir = /nonexistent\n");
  EXPECT_EQ(Convert("write\npicture"), -1);
  EXPECT_EQ(errno, ENOENT);
  const auto log = TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_THAT(log[0].text, HasSubstr("could not be run: /nonexistent/vexathumb-tool."));
  EXPECT_FALSE(std::filesystem::exists(destination()));
}

INSTANTIATE_TEST_SUITE_P(
    , DestinationThatIsNoFile,
    testing::Values(RefusedDestination{
        "Folder", [](const std::string& path) { std::filesystem::create_directory(path); },
        EISDIR}),
    CaseName());

TEST_F(ToolTest, IsNeverMovedIntoAFolder) {
  std::filesystem::create_directory(destination());
  vexathumb::kit::WriteFile(source(), "moved");
  EXPECT_EQ(VLIBCExecl("/bin/mv", 0, source().c_str(), destination().c_str(), nullptr), -1);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_TRUE(std::filesystem::is_empty(destination()));
  EXPECT_TRUE(std::filesystem::exists(source()));
}

TEST_F(ToolTest, IsMovedWholeOrNotAtAll) {
  vexathumb::kit::WriteFile(source(), "moved");
  vexathumb::kit::WriteFile(destination(), "former");
  EXPECT_EQ(VLIBCExecl("/bin/mv", 0, source().c_str(), destination().c_str(), nullptr), 0);
  EXPECT_EQ(vexathumb::kit::ReadFile(destination()), "moved");
  EXPECT_FALSE(std::filesystem::exists(source()));
  EXPECT_NE(VLIBCExecl("/bin/mv", 0, source().c_str(), destination().c_str(), nullptr), 0);
  EXPECT_EQ(vexathumb::kit::ReadFile(destination()), "moved");
}

}  // namespace
}  // namespace vexaplatform
