#ifndef VEXATHUMB_SERVICE_PICTURE_PICTURE_FACTS_H_
#define VEXATHUMB_SERVICE_PICTURE_PICTURE_FACTS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace vexathumb::service {

// A picture file from outside: pixels as stored in it, and its length. What cannot be told is
// empty.
struct PictureFacts {
  std::optional<uint32_t> width;
  std::optional<uint32_t> height;
  std::optional<uint64_t> bytes;
};

// Never throws on account of the file.
PictureFacts ReadPictureFacts(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_PICTURE_FACTS_H_
