#ifndef VEXAPLATFORM_PRIVATE_FOLDER_H_
#define VEXAPLATFORM_PRIVATE_FOLDER_H_

#include <string>

namespace vexaplatform {

// A name in the folder `parent` that nobody guesses. Throws std::bad_alloc only.
std::string PrivateFolderName(const std::string& parent);

// Removes the folder and all that is in it, to a depth that no tool's own files reach; links are
// not followed. Allocates no memory.
void RemovePrivateFolder(const char* path);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_PRIVATE_FOLDER_H_
