#include "programs/vexathumb-web/metrics.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "kit/case_name.h"
#include "kit/exposition.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::web {
namespace {

constexpr char kFound[] = "vexathumb_requests_total{route=\"thumb\",status=\"200\"}";
constexpr char kHealthy[] = "vexathumb_requests_total{route=\"health\",status=\"200\"}";

// Counters in a lock folder of their own.
class Metrics : public testing::Test {
 protected:
  std::map<std::string, double> Read() const {
    return kit::ReadExposition(MetricsText(locks(), {}));
  }
  double Value(const std::string& sample) const {
    const auto samples = Read();
    const auto found = samples.find(sample);
    return found == samples.end() ? -1 : found->second;
  }

  void Count(int times = 1) const {
    for (int i = 0; i < times; ++i) CountAnswer(locks(), Route::kThumb, 200);
  }

  // How a process ends that does this and exits.
  static int InAnother(const std::function<void()>& act) {
    const pid_t child = fork();
    if (child == 0) {
      act();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  std::string locks() const { return folder_ / "lock"; }
  // Where the counters are, of which there is one file.
  std::string File() const {
    for (const auto& entry : std::filesystem::directory_iterator(locks())) {
      if (entry.path().filename().string().rfind("metrics-", 0) == 0) return entry.path();
    }
    return "";
  }

 private:
  kit::TempDir folder_;
};

service::Thumbnail Built(service::Maker maker, const std::string& type, int milliseconds) {
  service::Thumbnail thumbnail;
  thumbnail.maker = maker;
  thumbnail.made_of = type;
  thumbnail.made_in = std::chrono::milliseconds(milliseconds);
  return thumbnail;
}

TEST_F(Metrics, TellAnswersByWhatWasAskedForAndStatus) {
  CountAnswer(locks(), Route::kThumb, 200);
  CountAnswer(locks(), Route::kThumb, 200);
  CountAnswer(locks(), Route::kAlbum, 404);
  CountAnswer(locks(), Route::kNone, 599);
  EXPECT_EQ(Value(kFound), 2);
  EXPECT_EQ(Value("vexathumb_requests_total{route=\"album\",status=\"404\"}"), 1);
  EXPECT_EQ(Value("vexathumb_requests_total{route=\"none\",status=\"other\"}"), 1);
}

TEST_F(Metrics, TellHowManyWorkAndWait) {
  Load load;
  load.workers = 3;
  load.queue = {2, 5};
  load.limits = {4, 100, 0};
  const auto samples = kit::ReadExposition(MetricsText(locks(), load));
  EXPECT_EQ(samples.at("vexathumb_workers"), 3);
  EXPECT_EQ(samples.at("vexathumb_builders"), 4);
  EXPECT_EQ(samples.at("vexathumb_builds_running"), 2);
  EXPECT_EQ(samples.at("vexathumb_build_requests"), 5);
  EXPECT_EQ(samples.at("vexathumb_build_requests_limit"), 104);
}

struct BuildCase {
  const char* name;
  service::Maker maker;
  const char* mime;
  const char* file;
  const char* labels;
};

void PrintTo(const BuildCase& build, std::ostream* out) { *out << build.name; }

class BuildMetrics : public Metrics, public testing::WithParamInterface<BuildCase> {};

TEST_P(BuildMetrics, TellEngineTypeAndTime) {
  const BuildCase& build = GetParam();
  for (const int milliseconds : {1250, 2}) {
    CountThumbnail(locks(), build.file, Built(build.maker, build.mime, milliseconds));
  }
  EXPECT_EQ(Value("vexathumb_thumbnails_total{result=\"built\"}"), 2);
  EXPECT_EQ(Value(std::string("vexathumb_builds_total{") + build.labels + "}"), 2);
  EXPECT_DOUBLE_EQ(Value(std::string("vexathumb_build_seconds_total{") + build.labels + "}"),
                   1.252);
}

INSTANTIATE_TEST_SUITE_P(
    , BuildMetrics,
    testing::Values(BuildCase{"Jpeg", service::Maker::kRenderer, "image/jpeg", "/d/a.jpg",
                              "engine=\"renderer\",type=\"jpeg\""},
                    BuildCase{"Heif", service::Maker::kTools, "image/heif", "/d/a.heif",
                              "engine=\"tools\",type=\"heic\""},
                    BuildCase{"Tiff", service::Maker::kTools, "image/tiff", "/d/a.TIF",
                              "engine=\"tools\",type=\"tiff\""},
                    BuildCase{"RawThatIsATiff", service::Maker::kPreview, "image/tiff", "/d/a.dng",
                              "engine=\"preview\",type=\"raw\""},
                    BuildCase{"RawOfAMaker", service::Maker::kTools, "image/x-canon-cr2",
                              "/d/a.cr2", "engine=\"tools\",type=\"raw\""},
                    BuildCase{"OfNoKnownType", service::Maker::kTools, "", "/d/a",
                              "engine=\"tools\",type=\"other\""}),
    kit::CaseName());

struct ResultCase {
  const char* name;
  service::Outcome outcome;
  bool is_known;
  service::Owner owner;
  const char* label;
};

void PrintTo(const ResultCase& result, std::ostream* out) { *out << result.name; }

class ResultMetrics : public Metrics, public testing::WithParamInterface<ResultCase> {};

TEST_P(ResultMetrics, TellWhatHasComeOfRequests) {
  service::Thumbnail thumbnail;
  thumbnail.outcome = GetParam().outcome;
  thumbnail.is_known = GetParam().is_known;
  thumbnail.owner = GetParam().owner;
  CountThumbnail(locks(), "/d/a.jpg", thumbnail);
  double sum = 0;
  for (const auto& [sample, value] : Read()) {
    if (sample.rfind("vexathumb_thumbnails_total", 0) == 0) sum += value;
  }
  EXPECT_EQ(sum, 1);
  EXPECT_EQ(Value("vexathumb_thumbnails_total{result=\"" + std::string(GetParam().label) + "\"}"),
            1);
}

using service::Outcome;
using service::Owner;
INSTANTIATE_TEST_SUITE_P(
    , ResultMetrics,
    testing::Values(
        ResultCase{"Stored", Outcome::kPicture, false, Owner::kStore, "stored"},
        ResultCase{"TheSource", Outcome::kPicture, false, Owner::kSource, "source"},
        ResultCase{"Failed", Outcome::kUnusable, false, Owner::kStore, "failed"},
        ResultCase{"FailedBefore", Outcome::kUnusable, true, Owner::kStore, "failed_before"},
        ResultCase{"Postponed", Outcome::kPostponed, false, Owner::kStore, "postponed"},
        ResultCase{"PostponedBefore", Outcome::kPostponed, true, Owner::kStore, "postponed_before"},
        ResultCase{"Overload", Outcome::kOverload, false, Owner::kStore, "overload"},
        ResultCase{"Changed", Outcome::kSourceChanged, false, Owner::kStore, "changed"},
        ResultCase{"Missing", Outcome::kMissing, false, Owner::kStore, "missing"},
        ResultCase{"NotStored", Outcome::kNotStored, false, Owner::kStore, "not_stored"}),
    kit::CaseName());

TEST_F(Metrics, AddUpOverProcesses) {
  Count();
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    Count(1000);
    _exit(0);
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ(Value(kFound), 4 * 1000 + 1);
}

TEST_F(Metrics, OutliveAProcessThatIsKilled) {
  const int end = InAnother([this] {
    Count(3);
    raise(SIGKILL);
  });
  EXPECT_TRUE(WIFSIGNALED(end));
  EXPECT_EQ(Value(kFound), 3);
}

TEST_F(Metrics, AreInAFileOfThisUserAlone) {
  Count();
  struct stat status = {};
  ASSERT_EQ(stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_GE(status.st_blocks * 512, status.st_size);
}

TEST_F(Metrics, CountOnWhereTheirFileIsRemoved) {
  Count(2);
  std::filesystem::remove(File());
  Count();
  EXPECT_EQ(Value(kFound), 1);
  EXPECT_FALSE(File().empty());
}

TEST_F(Metrics, CountOnWhereTheFolderCannotBeUsed) {
  kit::WriteFile(locks(), "no folder");
  Count(2);
  EXPECT_EQ(Value(kFound), 2);
}

// What may lie where the counters are to be.
struct FoundFile {
  const char* name;
  void (*spoil)(const std::string& file);
};

void PrintTo(const FoundFile& found, std::ostream* out) { *out << found.name; }

class FoundMetrics : public Metrics, public testing::WithParamInterface<FoundFile> {};

void Overwrite(const std::string& file, size_t offset, char byte) {
  std::string content = kit::ReadFile(file);
  content.at(offset) = byte;
  kit::WriteFile(file, content);
}

TEST_P(FoundMetrics, AreReplacedAndNeverTrusted) {
  InAnother([this] { Count(7); });
  const std::string file = File();
  GetParam().spoil(file);
  CountAnswer(locks(), Route::kHealth, 200);
  EXPECT_EQ(Value(kFound), -1);
  EXPECT_EQ(Value(kHealthy), 1);
  InAnother([this] { CountAnswer(locks(), Route::kHealth, 200); });
  EXPECT_EQ(Value(kHealthy), 2);
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(file)));
}

INSTANTIATE_TEST_SUITE_P(
    , FoundMetrics,
    testing::Values(
        FoundFile{"OfAnotherMagic", [](const std::string& file) { Overwrite(file, 0, 'x'); }},
        FoundFile{"OfAnotherVersion", [](const std::string& file) { Overwrite(file, 4, '\x7f'); }},
        FoundFile{"OfAnotherCount", [](const std::string& file) { Overwrite(file, 8, '\x7f'); }},
        FoundFile{"CutShort", [](const std::string& file) { truncate(file.c_str(), 100); }},
        FoundFile{"Empty", [](const std::string& file) { truncate(file.c_str(), 0); }},
        FoundFile{"TooLong", [](const std::string& file) { truncate(file.c_str(), 1 << 20); }},
        FoundFile{"OpenToOthers", [](const std::string& file) { chmod(file.c_str(), 0666); }},
        FoundFile{"ALink",
                  [](const std::string& file) {
                    rename(file.c_str(), (file + ".kept").c_str());
                    std::filesystem::create_symlink(file + ".kept", file);
                  }},
        FoundFile{"AFileOfTwoNames",
                  [](const std::string& file) {
                    std::filesystem::create_hard_link(file, file + ".other");
                  }},
        FoundFile{"APipe",
                  [](const std::string& file) {
                    unlink(file.c_str());
                    mkfifo(file.c_str(), 0600);
                  }}),
    kit::CaseName());

TEST_F(Metrics, SurviveAFileThatIsCutShortUnderneath) {
  Count(2);
  ASSERT_EQ(truncate(File().c_str(), 0), 0);
  Count(2);
  EXPECT_EQ(Value(kFound), 2);
  InAnother([this] { Count(); });
  EXPECT_EQ(Value(kFound), 3);
}

}  // namespace
}  // namespace vexathumb::web
