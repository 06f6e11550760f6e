#ifndef VEXATHUMB_THUMB_CUSTOM_SIZE_H_
#define VEXATHUMB_THUMB_CUSTOM_SIZE_H_

namespace vexathumb {

// In the place of a size label: the request is for an explicit box.
constexpr char kCustomSize[] = "__CUSTOM_SIZE__";

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_CUSTOM_SIZE_H_
