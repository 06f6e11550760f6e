#ifndef VEXATHUMB_SERVICE_PICTURE_COLOUR_PROFILE_H_
#define VEXATHUMB_SERVICE_PICTURE_COLOUR_PROFILE_H_

namespace vexathumb::service {

// Whether a JPEG carries a profile that does not call itself sRGB: its colours are others than its
// numbers say to who does not read it. False of what is no JPEG, and of no file.
bool HasOwnColours(int file);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_COLOUR_PROFILE_H_
