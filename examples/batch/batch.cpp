// Makes the thumbnails of all photos below a folder, those of several at once. An indexer of one's
// own; `vexathumb build` is one that makes all sizes in one decode and remembers failures.
//   batch FOLDER [SIZE...]
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "vexathumb.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  for (auto entry = fs::recursive_directory_iterator(folder); entry != end(entry); ++entry) {
    const bool is_hidden = entry->path().filename().native()[0] == '.';
    if (is_hidden && entry->is_directory()) entry.disable_recursion_pending();
    if (!is_hidden && entry->is_regular_file()) files.push_back(entry->path());
  }
  return files;
}

// How many of the sizes there are now; says why where one is missing.
int Make(const fs::path& file, const std::vector<std::string>& sizes) {
  int made = 0;
  VexathumbRequest* const request = vexathumb_request_new(file.c_str());
  for (const std::string& size : sizes) {
    VexathumbPicture* picture = nullptr;
    vexathumb_request_set_size(request, size.c_str());
    if (vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK) {
      ++made;
    } else {
      std::fprintf(stderr, "%s: %s: %s\n", file.c_str(), size.c_str(),
                   vexathumb_request_error_message(request));
    }
    vexathumb_picture_free(picture);
  }
  vexathumb_request_free(request);
  return made;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: batch FOLDER [SIZE...]\n");
    return 2;
  }
  std::vector<std::string> sizes(argv + 2, argv + argc);
  if (sizes.empty()) sizes = {"xlarge", "big", "medium", "small"};
  vexathumb_prepare();  // while there is one thread

  const std::vector<fs::path> files = FilesBelow(fs::absolute(argv[1]));
  std::atomic<size_t> next = 0;
  std::atomic<int> made = 0;
  std::vector<std::thread> workers;
  const unsigned count = std::max(std::thread::hardware_concurrency(), 1U);
  for (unsigned i = 0; i < count; ++i) {
    workers.emplace_back([&] {
      for (size_t file = next++; file < files.size(); file = next++)
        made += Make(files[file], sizes);
    });
  }
  for (std::thread& worker : workers) worker.join();
  vexathumb_maintain();
  std::printf("%d of %zu\n", made.load(), files.size() * sizes.size());
  return made == static_cast<int>(files.size() * sizes.size()) ? 0 : 1;
}
