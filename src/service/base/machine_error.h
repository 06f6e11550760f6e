#ifndef VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_
#define VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_

#include <string>

namespace vexathumb::service {

// Whether an errno of opening, reading or examining a file tells of the machine, its volumes and
// its limits. Those that do not tell what the file is: missing, closed to this user, of another
// kind, with too long a name.
bool IsMachineError(int error);

// 0, or errno of reading an open file to its end. Of a very large one only the two ends are read,
// some hundred megabytes.
int ErrorOfReading(int file);

// The same of a file at a path, when that tells of the machine; 0 also for what is missing or
// closed to this user.
int MachineErrorOfReading(const std::string& path);

// Whether some megabytes and some files more fit into a folder, as far as its volume tells. Quotas
// are not asked for.
bool HasRoom(const std::string& folder);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_MACHINE_ERROR_H_
