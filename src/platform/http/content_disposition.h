#ifndef VEXAPLATFORM_HTTP_CONTENT_DISPOSITION_H_
#define VEXAPLATFORM_HTTP_CONTENT_DISPOSITION_H_

#include <string>

namespace vexaplatform {

// The value of Content-Disposition that shows a picture under the file name `name`, whatever bytes
// that has.
std::string ContentDisposition(const std::string& name);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_CONTENT_DISPOSITION_H_
