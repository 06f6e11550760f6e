// What a run takes, counted: no machine is too slow for these.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/landscape.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;

constexpr char kTracer[] = "/usr/bin/strace";

struct Reader {
  uint64_t bytes = 0;  // of the source, mapped or read
  bool is_renderer = false;
};

struct Counts {
  int calls = 0;
  int opened = 0;                         // files
  int processes = 1;                      // the first included; threads are none
  std::map<std::string, Reader> readers;  // by process
};

// Reads what the tracer has written, line by line: "123 read(4</a/path>, ...) = 5", or the same in
// two parts where others called meanwhile. The number is the thread's.
class Journal {
 public:
  explicit Journal(const std::string& source) : file_("<" + source + ">") {}

  Counts Count(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) AddLine(line);
    for (const auto& [thread, bytes] : bytes_) {
      Reader& reader = counts_.readers[Ancestor(thread, threads_)];
      reader.bytes += bytes;
      reader.is_renderer = IsOfRenderer(thread);
    }
    return counts_;
  }

 private:
  using Parents = std::map<std::string, std::string>;

  static std::string Ancestor(std::string thread, const Parents& parents) {
    while (parents.count(thread) != 0) thread = parents.at(thread);
    return thread;
  }

  bool IsOfRenderer(std::string thread) const {
    while (renderers_.count(thread) == 0) {
      const bool is_thread = threads_.count(thread) != 0;
      const Parents& parents = is_thread ? threads_ : processes_;
      if (parents.count(thread) == 0) return false;
      thread = parents.at(thread);
    }
    return true;
  }

  void AddLine(const std::string& line) {
    const size_t space = line.find(' ');
    const std::string thread = line.substr(0, space);
    std::string call = line.substr(std::min(line.find_first_not_of(' ', space), line.size()));
    const size_t unfinished = call.find(" <unfinished ...>");
    if (unfinished != std::string::npos) {
      begun_[thread] = call.substr(0, unfinished);
      return;
    }
    if (call.rfind("<... ", 0) == 0) call = begun_[thread] + call;
    const size_t equals = call.rfind(" = ");
    if (equals == std::string::npos) return;  // a signal, or an end
    if (call[equals + 3] == '?') return;      // a signal interrupts it, and it is made again
    AddCall(thread, call, std::strtoll(call.c_str() + equals + 3, nullptr, 0));
  }

  void AddCall(const std::string& thread, const std::string& call, int64_t result) {
    ++counts_.calls;
    if (result < 0) return;
    const std::string name = call.substr(0, call.find('('));
    // Locks are opened as often as the work of others makes it wait.
    const bool is_lock = call.find("/vexathumb/user.") != std::string::npos;
    if (name.rfind("open", 0) == 0 && !is_lock) ++counts_.opened;
    if (name == "execve" && call.find("vexathumb-render\"") != std::string::npos) {
      renderers_.insert(thread);
    }
    if (name == "clone" || name == "clone3" || name == "fork" || name == "vfork") {
      const bool is_thread = call.find("CLONE_THREAD") != std::string::npos;
      (is_thread ? threads_ : processes_)[std::to_string(result)] = thread;
      counts_.processes += is_thread ? 0 : 1;
    }
    if (call.find(file_) == std::string::npos) return;
    if (name == "read" || name == "pread64") bytes_[thread] += static_cast<uint64_t>(result);
    if (name == "mmap") {
      bytes_[thread] += std::strtoull(call.c_str() + call.find(", ") + 2, nullptr, 0);
    }
  }

  const std::string file_;
  Parents threads_;
  Parents processes_;
  std::set<std::string> renderers_;
  std::map<std::string, uint64_t> bytes_;  // by thread
  std::map<std::string, std::string> begun_;
  Counts counts_;
};

class CountedAlbum : public testing::Test {
 protected:
  CountedAlbum() { album_.UseEngine("auto"); }

  void SetUp() override {
    if (album_.Run({"doctor"}).out.find("ok    renderer: /") == std::string::npos) {
      GTEST_SKIP() << "built without libvips";
    }
    try {
      kit::RunTool({kTracer, "-o", "/dev/null", "/bin/true"});
    } catch (const kit::ToolFailure& failure) {
      GTEST_SKIP() << "no process can be traced here: " << failure.Reason();
    }
  }

  // A photograph of some weight; `format` is an extension.
  std::string Write(const std::string& name, const std::string& format) const {
    const std::string path = album_ / name + "." + format;
    const std::string painted = album_.Aside("painted.ppm");
    if (!fs::exists(painted)) {
      const kit::Scene scene = {7, {60, 110, 190}, {200, 210, 220}, {40, 60, 40}, 0.7F, 0.2F};
      kit::PaintLandscape(painted, {1800, 1350}, scene);
    }
    kit::RunTool({"/usr/bin/vips", "copy", painted, path});
    kit::Age(path);
    return path;
  }

  Counts Build(const std::string& source) const {
    const std::string journal = album_.Aside("journal");
    RunOptions options;
    options.runner = {kTracer, "-f", "-qq", "-y", "-o", journal};
    const RunResult run = album_.Run({"build", "--jobs", "1", album_.pictures()}, options);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return Journal(source).Count(kit::ReadFile(journal));
  }

  Album album_;
};

struct CountedType {
  const char* name;
  const char* format;
  uint64_t readings;  // by the one process that decodes it: libheif reads it whenever it opens it
};

void PrintTo(const CountedType& type, std::ostream* out) { *out << type.name; }

class CountedSource : public CountedAlbum, public testing::WithParamInterface<CountedType> {};

TEST_P(CountedSource, IsDecodedOnceForAllItsSizes) {
  const std::string source = Write("a", GetParam().format);
  const uint64_t size = fs::file_size(source);
  const uint64_t header = size / 5 + 50'000;  // what is read to know its type, or read ahead
  int decoders = 0;
  for (const auto& [process, reader] : Build(source).readers) {
    if (!reader.is_renderer) continue;  // what metadata take is Exiv2's affair
    EXPECT_LE(reader.bytes, size * GetParam().readings + header) << "of a file of " << size;
    if (reader.bytes > size / 2) ++decoders;
  }
  EXPECT_EQ(decoders, 1);
  for (const char* label : {"S", "M", "B", "XL"}) {
    const std::string name = std::string("VEXAFILE_THUMB_") + label;
    const std::string store = album_.Stored(fs::path(source).filename(), name);
    EXPECT_TRUE(fs::exists(store + ".jpg") || fs::exists(store + ".png")) << name;
  }
}

constexpr CountedType kCountedTypes[] = {
    {"Jpeg", "jpg", 1},  {"Png", "png", 1},   {"Tiff", "tif", 1}, {"Webp", "webp", 1},
    {"Heic", "heic", 8}, {"Avif", "avif", 8}, {"Jxl", "jxl", 1},
};
INSTANTIATE_TEST_SUITE_P(Types, CountedSource, testing::ValuesIn(kCountedTypes), kit::CaseName());

TEST_F(CountedAlbum, TakesAProcessAPhotographAndFewForThemAll) {
  constexpr int kFew = 6;  // indexer, counter, worker, reader of metadata, renderer and its starter
  constexpr int kPhotographs = 4;
  for (int i = 0; i < kPhotographs; ++i) Write(std::to_string(i), "jpg");
  EXPECT_EQ(Build("").processes, kFew + kPhotographs);
}

TEST_F(CountedAlbum, TakesNoProcessAPhotographTheSecondTime) {
  constexpr int kFew = 3;  // indexer, counter, worker
  for (int i = 0; i < 4; ++i) Write(std::to_string(i), "jpg");
  Build("");
  EXPECT_EQ(Build("").processes, kFew);
}

// What one photograph more takes.
TEST_F(CountedAlbum, OpensFewFilesAPhotographAndFewerTheSecondTime) {
  constexpr int kMore = 4;
  Write("first", "jpg");
  const Counts first = Build("");
  const Counts first_again = Build("");
  fs::remove_all(album_ / ".vexaea");
  for (int i = 0; i < kMore; ++i) Write(std::to_string(i), "jpg");
  const Counts all = Build("");
  const Counts all_again = Build("");
  EXPECT_LE(all.opened - first.opened, 90 * kMore);
  EXPECT_LE(all_again.opened - first_again.opened, 15 * kMore);
  EXPECT_LE(all_again.calls - first_again.calls, 90 * kMore);
}

}  // namespace
}  // namespace vexathumb::system_test
