// What a host does with every file that it is asked about, crafted ones among them: it reads
// metadata and embedded preview in its own process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "kit/files.h"
#include "kit/hostile/mutator.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

constexpr int kFiles = 5000;
constexpr uint32_t kSeed = 20;
constexpr double kLongestMilliseconds = 100;
constexpr long kMostMemoryKib = 64 * 1024;

#ifdef VEXATHUMB_SANITIZED
constexpr bool kIsMeasured = false;  // a sanitizer multiplies both
#else
constexpr bool kIsMeasured = true;
#endif

double CpuMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// "VmHWM" is the most memory that this process has had so far.
long MemoryKib(const std::string& which) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(which + ":", 0) == 0) return std::stol(line.substr(which.size() + 1));
  }
  return 0;
}

struct Worst {
  double milliseconds = 0;
  int slowest_file = 0;
};

// Reads one file as a request would. What it throws is an answer like any other.
void Inspect(const std::string& path) {
  ThumbInfo info(path, kBig, {640, 640});
  try {
    info.ExtractImgInfo(true);
  } catch (const Error&) {
  } catch (const std::logic_error&) {  // an orientation that is no number
  }
  const std::string preview = info.GetEXIFPreviewTmpPath();
  if (!preview.empty()) unlink(preview.c_str());
}

// The host: writes down each file's number first, so that the one that ends it is known.
std::string InspectAll(const std::vector<std::string>& originals, const kit::TempDir& dir) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  kit::Mutator mutator(originals, kSeed);
  const std::string file = dir / "photo.jpg";
  Inspect((kit::WriteFile(file, originals.back()), file));
  const size_t descriptors = NamesIn("/proc/self/fd").size();
  const long memory = MemoryKib("VmRSS");
  Worst worst;
  for (int i = 0; i < kFiles; ++i) {
    kit::WriteFile(file, mutator.Next());
    kit::WriteFile(dir / "number", std::to_string(i));
    const double start = CpuMilliseconds();
    Inspect(file);
    const double took = CpuMilliseconds() - start;
    if (took > worst.milliseconds) worst = {took, i};
  }
  std::ostringstream report;
  report << worst.milliseconds << ' ' << worst.slowest_file << ' ' << MemoryKib("VmHWM") - memory
         << ' ' << NamesIn("/proc/self/fd").size() - descriptors << ' ' << OwnTemporaries().size();
  return report.str();
}

TEST(HostileContent, IsReadInTimeAndSpaceAndLeavesNothing) {
  const std::vector<std::string> originals = kit::SmallPictures();
  const kit::TempDir dir;
  Process host([&] {
    kit::WriteFile(dir / "report", InspectAll(originals, dir));
    return 0;
  });
  ASSERT_EQ(host.Wait(), 0) << "file " << kit::ReadFile(dir / "number") << " of seed " << kSeed
                            << " ends its host; it belongs into fuzz/found/thumb_info";

  std::istringstream report(kit::ReadFile(dir / "report"));
  Worst worst;
  long memory = 0;
  size_t descriptors = 0;
  size_t temporaries = 0;
  report >> worst.milliseconds >> worst.slowest_file >> memory >> descriptors >> temporaries;
  ASSERT_TRUE(report);
  std::cout << kFiles << " files: the slowest, number " << worst.slowest_file << ", took "
            << worst.milliseconds << " ms; " << memory / 1024 << " MiB more memory at most\n";
  EXPECT_EQ(descriptors, 0U);
  EXPECT_EQ(temporaries, 0U);
  if (!kIsMeasured) return;
  EXPECT_LE(worst.milliseconds, kLongestMilliseconds);
  EXPECT_LE(memory, kMostMemoryKib);
}

}  // namespace
}  // namespace vexathumb::service
