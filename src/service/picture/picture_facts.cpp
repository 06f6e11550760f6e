#include "service/picture/picture_facts.h"

#include <sys/stat.h>

#include <exception>

#include "thumb/thumb_info.h"

namespace vexathumb::service {

PictureFacts ReadPictureFacts(const std::string& path) {
  PictureFacts facts;
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return facts;
  facts.bytes = static_cast<uint64_t>(st.st_size);
  try {
    ThumbInfo info(path, kOriginal, ThumbDimension(0, 0));
    info.ExtractImgInfo(false);
    if (info.GetWidth() == 0 || info.GetHeight() == 0) return facts;
    facts.width = info.GetWidth();
    facts.height = info.GetHeight();
  } catch (const std::exception&) {
    // Some results are in formats whose size nobody here reads; their length is known all the same.
  }
  return facts;
}

}  // namespace vexathumb::service
