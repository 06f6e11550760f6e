#ifndef VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_
#define VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_

#include <exception>
#include <string>

namespace vexathumb::service {

// Why something did not work and what a person can do about it, each a phrase that fits a one-line
// message.
struct Cause {
  std::string text;
  std::string advice;  // may be empty
};

// What an exception of the library, raised by a source, means to a person.
Cause CauseOf(const std::exception& error);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_
