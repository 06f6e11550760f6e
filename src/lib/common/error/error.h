#ifndef VEXATHUMB_COMMON_ERROR_ERROR_H_
#define VEXATHUMB_COMMON_ERROR_ERROR_H_

#include <stdexcept>
#include <string>

#include "common/export.h"

namespace vexathumb {

// The one exception that the library throws on purpose. Tell cases apart by Code(), never by the
// text. Anything else that escapes an operation is a standard-library exception and is said there.
//
// what() is "(E<code>) <message>", and "(E<code>) ", with its trailing blank, without a message.
//
//   try {
//     info.ExtractImgInfo(false);
//   } catch (const vexathumb::Error& error) {
//     if (error.Code() != vexathumb::Error::kNoExifMeta) throw;
//   }
class VEXATHUMB_API Error : public std::runtime_error {
 public:
  using CODE = enum {
    kThumbErrorMinCode = 600,  // lower bound, never thrown
    kInternalError = 601,      // internal failure
    kNoExifMeta = 602,         // the source has no readable metadata
    kFileNotFound = 603,       // the source does not exist or cannot be opened
    kDummyEndCode = 604,       // end marker, never thrown
  };

  // Any int is accepted as a code; no range is checked.
  explicit Error(int code);
  Error(int code, const std::string& msg);
  Error(const Error& other);
  Error& operator=(const Error& other) = default;
  ~Error() override;

  int Code() const { return code_; }

 private:
  int code_;

 public:
  // The message as the thrower gave it, without the code; empty when there was none.
  std::string msg_;
};

}  // namespace vexathumb

#endif  // VEXATHUMB_COMMON_ERROR_ERROR_H_
