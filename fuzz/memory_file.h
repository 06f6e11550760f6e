#ifndef VEXATHUMB_FUZZ_MEMORY_FILE_H_
#define VEXATHUMB_FUZZ_MEMORY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace vexathumb::fuzz {

// A regular file without a place on any disk, for what is read by its path.
class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  void SetContent(const uint8_t* data, size_t size) const;
  const std::string& path() const { return path_; }

 private:
  int fd_;
  std::string path_;
};

}  // namespace vexathumb::fuzz

#endif  // VEXATHUMB_FUZZ_MEMORY_FILE_H_
