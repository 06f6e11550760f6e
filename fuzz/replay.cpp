// Stands in for the fuzzer's own main where there is none: runs the harness on every file that is
// named, or lies below a folder that is named, and tells how many there were.
#include <cstdio>
#include <filesystem>

#include "fuzz/harness.h"
#include "kit/files.h"

namespace {

namespace fs = std::filesystem;

void Replay(const fs::path& path) {
  printf("%s\n", path.c_str());
  fflush(stdout);
  const std::string bytes = vexathumb::kit::ReadFile(path);
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int ReplayAll(const fs::path& path) {
  if (!fs::is_directory(path)) {
    Replay(path);
    return 1;
  }
  int count = 0;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
    if (!entry.is_regular_file()) continue;
    Replay(entry.path());
    ++count;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    if (fs::exists(argv[i])) count += ReplayAll(argv[i]);
  }
  printf("%d inputs\n", count);
  return count > 0 ? 0 : 1;
}
