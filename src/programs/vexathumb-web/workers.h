#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_WORKERS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_WORKERS_H_

#include <string>

namespace vexathumb::web {

// Has this process counted among the workers of the machine, until it ends or calls with another
// lock folder. Throws std::system_error when the folder cannot be used.
void JoinWorkers(const std::string& lock_directory);

// How many there are. Throws as above.
int CountWorkers(const std::string& lock_directory);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_WORKERS_H_
