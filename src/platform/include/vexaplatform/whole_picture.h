#ifndef VEXAPLATFORM_VEXAPLATFORM_WHOLE_PICTURE_H_
#define VEXAPLATFORM_VEXAPLATFORM_WHOLE_PICTURE_H_

#include <string>

#include "vexa/types.h"

namespace vexaplatform {

// Whether a file is there to its end, as far as its first and last bytes tell: there is something,
// and a BMP has the length that it tells, a PNG or GIF its end, a JPEG too, which cameras fill up
// with zeros. Other formats are taken as they are. False when the file cannot be read, or is no
// regular file. From any thread; throws std::bad_alloc only.
VEXAPLATFORM_API bool IsWholePicture(const std::string& path);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_WHOLE_PICTURE_H_
