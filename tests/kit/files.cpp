#include "kit/files.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vexathumb::kit {

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  if (!file.is_open()) throw std::runtime_error("cannot read " + path);
  return bytes.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

void Age(const std::string& path) {
  const auto now = std::filesystem::file_time_type::clock::now();
  std::filesystem::last_write_time(path, now - std::chrono::minutes(1));
}

}  // namespace vexathumb::kit
