#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_ONE_PICTURE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_ONE_PICTURE_H_

#include <functional>
#include <string>

#include "service/build/thumbnail.h"

namespace vexathumb::program {

// What commands that give one thumbnail of one picture have in common: how they end. `named` is the
// picture as the user has named it.

// Throws Failure when no picture can be read at `path`, which is absolute, or when it is this very
// file that the thumbnail would be written to. `output` may be empty.
void CheckPicture(const std::string& named, const std::string& path, const std::string& output);

// The picture that `obtain` answers with. Throws Failure when there is none, or when `obtain`
// throws std::system_error, as it does when a lock cannot be had.
service::Thumbnail PictureOrFailure(const std::string& named,
                                    const std::function<service::Thumbnail()>& obtain);

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_ONE_PICTURE_H_
