#ifndef VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_
#define VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_

#include <string>

namespace vexathumb::service {

// Whether an errno of opening, reading or examining a file tells of the machine, its volumes and
// its limits. Those that do not tell what the file is: missing, closed to this user, of another
// kind, with too long a name.
bool IsMachineError(int error);

// errno of reading the file to its end, when that tells of the machine; 0 also for what is missing
// or closed to this user. Of a very large file only the two ends are read, some hundred megabytes.
int MachineErrorOfReading(const std::string& path);

// Whether some megabytes and some files more fit into a folder, as far as its volume tells. Quotas
// are not asked for.
bool HasRoom(const std::string& folder);

// Whether a process that this signal ended has done so by its own doing: it broke a rule, or gave
// up. Other signals come from somebody else, or for want of something.
bool IsOwnFault(int signal);

// As it may stand in a phrase: "No space left on device", "signal 9, Killed".
std::string TextOfError(int error);
std::string TextOfSignal(int signal);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_
