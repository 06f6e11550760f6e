#include "service/picture/metadata_warnings.h"

#include "thumb/exiv2_compat.h"

namespace vexathumb::service {

void MuteMetadataWarnings() { Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute); }

}  // namespace vexathumb::service
