#ifndef VEXATHUMB_POSIX_PROCESS_END_H_
#define VEXATHUMB_POSIX_PROCESS_END_H_

#include <sys/mman.h>
#include <sys/wait.h>

#include <csignal>
#include <cstddef>
#include <cstring>
#include <string>

namespace vexathumb::posix {

// Whether a process that this signal ended has done so by its own doing: it broke a rule, or gave
// up. Other signals come from somebody else, or for want of something: of memory, or of what is
// mapped of a file that was cut meanwhile or cannot be read.
inline bool IsOwnFault(int signal) {
  return signal == SIGSEGV || signal == SIGABRT || signal == SIGFPE || signal == SIGILL ||
         signal == SIGSYS || signal == SIGTRAP;
}

// As it may stand in a phrase: "signal 9, Killed".
inline std::string TextOfSignal(int signal) {
  return "signal " + std::to_string(signal) + ", " + strsignal(signal);
}

// What a process did at last: "was ended by signal 9, Killed", "left with status 1". By the status
// that wait() tells, or by what waitid() does.
inline std::string TextOfEnd(int status) {
  return WIFSIGNALED(status) ? "was ended by " + TextOfSignal(WTERMSIG(status))
                             : "left with status " + std::to_string(WEXITSTATUS(status));
}
inline std::string TextOfEnd(const siginfo_t& ended) {
  return TextOfEnd(ended.si_code == CLD_EXITED ? W_EXITCODE(ended.si_status, 0)
                                               : W_EXITCODE(0, ended.si_status));
}

// Whether the machine would give so many bytes: a process that had none left met its own limit.
inline bool MachineHasMemory(size_t bytes) {
  void* const place =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) return false;
  munmap(place, bytes);
  return true;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_PROCESS_END_H_
