#ifndef VEXATHUMB_TESTS_KIT_FILES_H_
#define VEXATHUMB_TESTS_KIT_FILES_H_

#include <string>

namespace vexathumb::kit {

// The bytes of a file. Throws std::runtime_error when it cannot be read.
std::string ReadFile(const std::string& path);

// Makes or replaces a file of these bytes. Throws std::runtime_error when it cannot be written.
void WriteFile(const std::string& path, const std::string& bytes);

// Makes it look as if it had been written a minute ago: of a file that somebody may still be
// writing no thumbnail is kept.
void Age(const std::string& path);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_FILES_H_
