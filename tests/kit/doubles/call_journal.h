#ifndef VEXATHUMB_TESTS_KIT_DOUBLES_CALL_JOURNAL_H_
#define VEXATHUMB_TESTS_KIT_DOUBLES_CALL_JOURNAL_H_

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace vexathumb::kit {

// One call that a double answered. What does not apply is empty or 0.
struct Call {
  std::string operation;               // "VLIBCExecv", "rename"
  std::string path;                    // the first path, or the name looked up
  std::vector<std::string> arguments;  // the others, in order; of a tool its whole vector
  int flag = 0;                        // flag, type or mode number
};

bool operator==(const Call& left, const Call& right);
std::ostream& operator<<(std::ostream& out, const Call& call);

// The calls of all doubles, in the order in which they came, so that a test can compare the order
// of a platform operation and a libc function. One per process; callable from any thread.
class CallJournal {
 public:
  static CallJournal& Get();

  void Clear();
  void Add(Call call);

  std::vector<Call> All() const;

  // The calls of these operations alone.
  std::vector<Call> Of(const std::vector<std::string>& operations) const;

  // The argument vectors of the tools that were run or opened, in order.
  std::vector<std::vector<std::string>> ToolVectors() const;

  // The names of the operations, in order.
  std::vector<std::string> Operations() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
};

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_DOUBLES_CALL_JOURNAL_H_
