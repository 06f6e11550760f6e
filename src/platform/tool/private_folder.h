#ifndef VEXAPLATFORM_TOOL_PRIVATE_FOLDER_H_
#define VEXAPLATFORM_TOOL_PRIVATE_FOLDER_H_

#include <ctime>
#include <string>

namespace vexaplatform {

// A name in the folder `parent` that nobody guesses. Throws std::bad_alloc only.
std::string PrivateFolderName(const std::string& parent);

// Removes the folder and all that is in it, to a depth that no tool's own files reach; links are
// not followed. Allocates no memory.
void RemovePrivateFolder(const char* path);

// Removes those in the folder `parent` that are the calling user's and in which nothing has been
// made for `age` seconds. Throws std::bad_alloc only.
void SweepPrivateFolders(const std::string& parent, time_t age);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_PRIVATE_FOLDER_H_
