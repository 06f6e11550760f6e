#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Arguments = std::vector<std::string>;

struct UsageCase {
  const char* name;
  Arguments arguments;
};

void PrintTo(const UsageCase& usage, std::ostream* out) { *out << usage.name; }

class WrongUse : public ::testing::TestWithParam<UsageCase> {};

TEST_P(WrongUse, ExitsWithTwoAndOneLine) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg");
  const RunResult run = album.Run(GetParam().arguments, {album.pictures(), {}, "", false});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.out, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, WrongUse,
    ::testing::Values(
        UsageCase{"no_command", {}}, UsageCase{"unknown_command", {"make", "a.jpg"}},
        UsageCase{"unknown_option", {"get", "a.jpg", "--size", "big", "--fast"}},
        UsageCase{"get_without_file", {"get", "--size", "big"}},
        UsageCase{"get_two_files", {"get", "a.jpg", "b.jpg", "--size", "big"}},
        UsageCase{"get_without_size", {"get", "a.jpg"}},
        UsageCase{"get_size_and_box", {"get", "a.jpg", "--size", "big", "--box", "10x10"}},
        UsageCase{"get_unknown_size", {"get", "a.jpg", "--size", "huge"}},
        UsageCase{"get_size_in_capitals", {"get", "a.jpg", "--size", "Big"}},
        UsageCase{"get_box_of_no_width", {"get", "a.jpg", "--box", "0x10"}},
        UsageCase{"get_box_over_limit", {"get", "a.jpg", "--box", "10x4097"}},
        UsageCase{"get_box_negative", {"get", "a.jpg", "--box", "-1x10"}},
        UsageCase{"get_box_without_height", {"get", "a.jpg", "--box", "10"}},
        UsageCase{"get_box_with_rest", {"get", "a.jpg", "--box", "10x10x10"}},
        UsageCase{"get_rotate_no_number", {"get", "a.jpg", "--size", "big", "--rotate", "left"}},
        UsageCase{"get_unknown_store", {"get", "a.jpg", "--size", "big", "--store", "reeldeck"}},
        UsageCase{"get_smaller_than_a_box", {"get", "a.jpg", "--box", "10x10", "--smaller"}},
        UsageCase{"get_json_and_picture_to_stdout",
                  {"get", "a.jpg", "--size", "big", "--json", "-o", "-"}},
        UsageCase{"get_onto_the_source", {"get", "a.jpg", "--size", "small", "-o", "a.jpg"}},
        UsageCase{"build_without_files", {"build"}},
        UsageCase{"build_unknown_size", {"build", "a.jpg", "--sizes", "small,huge"}},
        UsageCase{"build_original", {"build", "a.jpg", "--sizes", "original"}},
        UsageCase{"build_no_jobs", {"build", "a.jpg", "--jobs", "0"}},
        UsageCase{"build_no_load", {"build", "a.jpg", "--max-load", "0"}},
        UsageCase{"build_no_time", {"build", "a.jpg", "--time-limit", "-1"}},
        UsageCase{"build_null_without_list", {"build", "a.jpg", "-0"}},
        UsageCase{"build_table_and_json", {"build", "a.jpg", "--table", "--json"}},
        UsageCase{"info_without_file", {"info"}},
        UsageCase{"doctor_two_folders", {"doctor", "a", "b"}},
        UsageCase{"watch_without_folder", {"watch"}}, UsageCase{"clean_without_path", {"clean"}},
        UsageCase{"plan_without_shard_size", {"plan", "."}},
        UsageCase{"plan_shards_of_nothing", {"plan", ".", "--shard-size", "0"}},
        UsageCase{"build_shard_without_manifest", {"build", "--shard", "1"}},
        UsageCase{"build_relative_path_map",
                  {"build", "--manifest", "m", "--shard", "1", "--path-map", "a=b"}},
        UsageCase{"farm_without_step", {"farm"}},
        UsageCase{"farm_report_without_log", {"farm", "report"}},
        UsageCase{"desktop_thumbnail_without_output", {"desktop-thumbnail", "a.jpg"}},
        UsageCase{"desktop_thumbnail_of_no_side", {"desktop-thumbnail", "-s", "0", "a.jpg", "b"}},
        UsageCase{"desktop_thumbnail_too_large", {"desktop-thumbnail", "-s", "4097", "a.jpg", "b"}},
        UsageCase{"desktop_thumbnail_onto_the_source", {"desktop-thumbnail", "a.jpg", "a.jpg"}}),
    kit::CaseName());

// A run that makes no thumbnail.
struct EndCase {
  const char* name;
  Arguments arguments;
  int exit_code;
  const char* message;
  const char* settings = "";
};

void PrintTo(const EndCase& end, std::ostream* out) { *out << end.name; }

class NoThumbnailMade : public ::testing::TestWithParam<EndCase> {};

TEST_P(NoThumbnailMade, IsToldByTheExitCodeAndOneLine) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg");
  kit::Age(album / "a.jpg");
  kit::WriteFile(album / "broken.jpg", kNoPicture);
  kit::Age(album / "broken.jpg");
  album.WriteSettings(GetParam().settings);
  const RunResult run = album.Run(GetParam().arguments, {album.pictures(), {}, "", false});
  EXPECT_EQ(run.exit_code, GetParam().exit_code);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr(GetParam().message));
  EXPECT_FALSE(std::filesystem::exists(album / "out"));
}

constexpr char kNoLocks[] = "[service]\nlock_dir = /dev/null/locks\n";

Arguments Get(const char* file, const char* output = "out") {
  return {"get", "--size", "small", file, "-o", output};
}
Arguments Desktop(const char* file, const char* output = "out") {
  return {"desktop-thumbnail", file, output};
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, NoThumbnailMade,
    ::testing::Values(
        EndCase{"get_no_picture", Get("broken.jpg"), 1, "broken.jpg: "},
        EndCase{"desktop_no_picture", Desktop("broken.jpg"), 1, "broken.jpg: "},
        EndCase{"get_by_the_library_no_picture",
                {"get", "--library", "--size", "small", "broken.jpg", "-o", "out"},
                1,
                "broken.jpg: "},
        EndCase{"build_of_a_list_that_is_missing",
                {"build", "--files-from", "none"},
                3,
                "name a list of files"},
        EndCase{"build_of_a_list_that_is_a_folder", {"build", "--files-from", "."}, 3, "directory"},
        EndCase{"get_missing", Get("b.jpg"), 3, "name a picture that can be read"},
        EndCase{"desktop_missing", Desktop("b.jpg"), 3, "name a picture that can be read"},
        EndCase{"get_folder", Get("."), 3, "name a picture that can be read"},
        EndCase{"desktop_folder", Desktop("."), 3, "name a picture that can be read"},
        EndCase{"get_into_no_folder", Get("a.jpg", "none/out"), 4, "cannot be written"},
        EndCase{"desktop_into_no_folder", Desktop("a.jpg", "none/out"), 4, "cannot be written"},
        EndCase{"get_onto_a_folder", Get("a.jpg", ".."), 4, "cannot be written"},
        EndCase{"desktop_onto_a_folder", Desktop("a.jpg", ".."), 4, "cannot be written"},
        EndCase{"get_lock_that_cannot_be_had", Get("a.jpg"), 4, "the lock cannot be had",
                kNoLocks}),
    kit::CaseName());

class HelpAndVersion : public ::testing::TestWithParam<UsageCase> {};

TEST_P(HelpAndVersion, ExitWithZeroAndWriteToStandardOutput) {
  const Album album;
  const RunResult run = album.Run(GetParam().arguments);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.err, IsEmpty());
  const bool is_version = GetParam().arguments.back() == "--version";
  EXPECT_THAT(run.out, HasSubstr(is_version ? "vexathumb 1." : "Usage: vexathumb"));
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, HelpAndVersion,
    ::testing::Values(UsageCase{"help", {"--help"}}, UsageCase{"version", {"--version"}},
                      UsageCase{"get_help", {"get", "--help"}},
                      UsageCase{"get_version", {"get", "--version"}},
                      UsageCase{"build_help", {"build", "--help"}},
                      UsageCase{"build_version", {"build", "--version"}},
                      UsageCase{"info_help", {"info", "--help"}},
                      UsageCase{"info_version", {"info", "--version"}},
                      UsageCase{"doctor_help", {"doctor", "--help"}},
                      UsageCase{"doctor_version", {"doctor", "--version"}},
                      UsageCase{"desktop_thumbnail_help", {"desktop-thumbnail", "--help"}}),
    kit::CaseName());

TEST(CommandLine, OutputThatCannotBeWrittenIsAnInternalError) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg");
  const RunResult run = album.Run({"info", album / "a.jpg"}, {"", {}, "/dev/full", false});
  EXPECT_EQ(run.exit_code, 4);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

}  // namespace
}  // namespace vexathumb::system_test
