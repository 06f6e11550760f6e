#ifndef VEXATHUMB_SERVICE_BMP_DATA_H_
#define VEXATHUMB_SERVICE_BMP_DATA_H_

#include <string>

namespace vexathumb::service {

// Whether the file begins as BMP data do, whatever its name says. False when it cannot be read.
bool HoldsBmpData(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BMP_DATA_H_
