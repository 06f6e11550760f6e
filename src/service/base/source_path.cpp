#include "service/base/source_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;

bool HasParentStep(const fs::path& path) {
  return std::find(path.begin(), path.end(), "..") != path.end();
}

}  // namespace

std::string AbsolutePath(const std::string& name) {
  if (name.empty()) return name;
  std::error_code error;
  const fs::path absolute = fs::absolute(name, error);
  if (error) return name;
  fs::path normal = absolute.lexically_normal();
  if (!normal.has_filename() && normal.has_relative_path()) normal = normal.parent_path();
  if (!HasParentStep(absolute) || IsSameFile(absolute, normal)) return normal;
  const fs::path folder = fs::canonical(absolute.parent_path(), error);
  return error ? normal : (folder / absolute.filename()).lexically_normal();
}

std::string WhyUnreadable(const std::string& path) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return strerror(errno);
  if (S_ISDIR(st.st_mode)) return "is a folder";
  if (!S_ISREG(st.st_mode)) return "is not a regular file";
  if (access(path.c_str(), R_OK) != 0) return strerror(errno);
  return "";
}

bool IsSameFile(const std::string& one, const std::string& other) {
  struct stat st_one = {};
  struct stat st_other = {};
  return stat(one.c_str(), &st_one) == 0 && stat(other.c_str(), &st_other) == 0 &&
         st_one.st_dev == st_other.st_dev && st_one.st_ino == st_other.st_ino;
}

}  // namespace vexathumb::service
