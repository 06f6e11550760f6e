#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "kit/files.h"
#include "system/program.h"

namespace vexathumb::system_test {

namespace fs = std::filesystem;

std::string Identity(const std::string& path) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0) throw std::runtime_error(path + " is missing");
  std::string text = std::to_string(st.st_mode) + " " + std::to_string(st.st_ino) + " " +
                     std::to_string(st.st_size) + " " + std::to_string(st.st_mtim.tv_sec) + "." +
                     std::to_string(st.st_mtim.tv_nsec);
  if (S_ISREG(st.st_mode))
    text += " " + std::to_string(std::hash<std::string>()(kit::ReadFile(path)));
  return text;
}

std::string SnapshotOf(const std::string& folder) {
  std::vector<std::string> lines = {folder + " " + Identity(folder)};
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    lines.push_back(entry.path().string() + " " + Identity(entry.path()));
  }
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace vexathumb::system_test
