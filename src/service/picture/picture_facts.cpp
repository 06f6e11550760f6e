#include "service/picture/picture_facts.h"

#include <sys/stat.h>

#include "service/picture/inspection.h"

namespace vexathumb::service {

PictureFacts ReadPictureFacts(const std::string& path) {
  PictureFacts facts;
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return facts;
  facts.bytes = static_cast<uint64_t>(st.st_size);
  // Some results are in formats whose size nobody here reads; their length is known all the same.
  const InspectedSource picture(path, false);
  if (picture.inspection().result != InspectionResult::kRead) return facts;
  if (picture.info().GetWidth() == 0 || picture.info().GetHeight() == 0) return facts;
  facts.width = picture.info().GetWidth();
  facts.height = picture.info().GetHeight();
  return facts;
}

}  // namespace vexathumb::service
