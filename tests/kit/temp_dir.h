#ifndef VEXATHUMB_TESTS_KIT_TEMP_DIR_H_
#define VEXATHUMB_TESTS_KIT_TEMP_DIR_H_

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace vexathumb::kit {

// A folder of its own under $TMPDIR or /tmp that goes, with all that is in it, when this does.
class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    path_ =
        std::string(base != nullptr && base[0] == '/' ? base : "/tmp") + "/vexathumb-kit-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), path_);
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }

  // The path of an entry of the folder.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_TEMP_DIR_H_
