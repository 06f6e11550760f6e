#ifndef VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_
#define VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_

#include <functional>
#include <memory>
#include <string>

#include "service/base/atomic_file.h"
#include "service/build/thumbnail.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// A picture in the form in which it is kept, which has not appeared under its name yet.
struct MadePicture {
  std::unique_ptr<AtomicFile> file;
  std::string mime = {};
  Maker maker = Maker::kNobody;
  bool is_oversized = false;  // BMP data that the library would not keep: more than the source's
  bool is_damaged = false;    // what a decoder got of a source that was cut short
};

// Where pictures of a request go: each call is for another attempt.
using NewFile = std::function<std::unique_ptr<AtomicFile>()>;

// To appear at a path; in the store of a source, of which `version` outlives it.
NewFile NewFileAt(const std::string& path);
NewFile NewFileInStore(const std::string& source, const SourceVersion& version,
                       const std::string& stored);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_MADE_PICTURE_H_
