#ifndef VEXATHUMB_RENDER_PICTURE_RENDERING_H_
#define VEXATHUMB_RENDER_PICTURE_RENDERING_H_

#include <vector>

#include "render/order.h"

namespace vexathumb::render {

// Makes the pictures of a valid order. `files` are the source and the pictures' files. The largest
// is made from the source, decoded no larger than it takes, and each of the others from the next
// larger one. Throws std::bad_alloc only.
AnswerRecord Render(const OrderRecord& order, const std::vector<int>& files);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_PICTURE_RENDERING_H_
