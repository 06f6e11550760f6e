#ifndef VEXATHUMB_TESTS_KIT_DOUBLES_LIBC_DOUBLE_H_
#define VEXATHUMB_TESTS_KIT_DOUBLES_LIBC_DOUBLE_H_

#include <sys/types.h>

#include <atomic>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "kit/doubles/call_journal.h"

namespace vexathumb::kit {

// Stands between libvexathumb.so and libc. Link `vexathumb_libc_double` into the test executable:
// while a LibcDouble lives, the calls that the library itself makes (not those of Exiv2, the test
// or the C++ library) are recorded and fail where the test says so. Everything else, and everything
// without a LibcDouble, goes straight to libc.
//
// How calls are recorded in the CallJournal (operation: path, arguments, flag):
//
//   access: path, {}, mode          rename: from, {to}          unlink: path
//   chmod: path, {}, mode           stat: path
//   utime: path, {access time, modification time}               puts: text
//
// time, getpid, rand, read and write are not recorded, only faked.
class LibcDouble {
 public:
  LibcDouble();
  ~LibcDouble();
  LibcDouble(const LibcDouble&) = delete;
  LibcDouble& operator=(const LibcDouble&) = delete;

  // Makes every further call of the function (of those recorded, "read" and "write") fail with this
  // errno; -1 is answered and nothing else happens.
  void Fail(const std::string& function, int error);

  // Every further write takes one byte less than it is given.
  void WriteShort() { write_short = true; }

  // Fixed answers.
  std::optional<time_t> time;
  std::optional<pid_t> pid;
  std::optional<int> random;

  // The text that puts was given is kept from standard output, where the test's own report goes.

  // For the functions themselves: the errno to fail with, 0 to go on.
  int FaultOf(const std::string& function) const;
  std::atomic<bool> write_short{false};

 private:
  mutable std::mutex mutex_;
  std::map<std::string, int> faults_;
};

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_DOUBLES_LIBC_DOUBLE_H_
