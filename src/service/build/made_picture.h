#ifndef VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_
#define VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_

#include <functional>
#include <memory>
#include <string>

#include "service/base/atomic_file.h"

namespace vexathumb::service {

// A picture in the form in which it is kept, which has not appeared under its name yet.
struct MadePicture {
  std::unique_ptr<AtomicFile> file;
  std::string mime = {};
  bool is_by_tools = false;
  bool is_oversized = false;  // BMP data that the library would not keep: more than the source's
  bool is_damaged = false;    // what a decoder got of a source that was cut short
};

// Where pictures of a request go: each call is for another attempt.
using NewFile = std::function<std::unique_ptr<AtomicFile>()>;

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_
