#ifndef VEXATHUMB_POSIX_ERROR_TEXT_H_
#define VEXATHUMB_POSIX_ERROR_TEXT_H_

#include <string>
#include <system_error>

namespace vexathumb::posix {

// An errno as it may stand in a phrase: "No space left on device".
inline std::string TextOfError(int error) { return std::generic_category().message(error); }

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_ERROR_TEXT_H_
