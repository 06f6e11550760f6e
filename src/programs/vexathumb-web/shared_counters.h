#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_COUNTERS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_COUNTERS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::web {

// Numbers that all processes of one user count up together, in a file that all of them have mapped:
// they outlive each of them. A process that is forked from this one does not have them until it
// calls Refresh().
//
// The file is this user's alone. One that is somebody else's, open to others, of another layout or
// of a wrong size is replaced, never read. A process that has no file counts for itself until there
// is one, and adds that. A file that is cut short or removed costs what was counted in it. For one
// thread.
class SharedCounters {
 public:
  // Those in the file `name` of LockFolder(directory). `layout` tells what the numbers mean from
  // what they meant before. At most one object at a time.
  SharedCounters(std::string directory, std::string name, uint32_t layout, uint32_t count);
  SharedCounters(const SharedCounters&) = delete;
  SharedCounters& operator=(const SharedCounters&) = delete;
  ~SharedCounters();

  const std::string& directory() const { return directory_; }

  // To be called now and then: looks after the file, and for another where it has gone.
  void Refresh() noexcept;

  void Add(size_t counter, uint64_t amount) noexcept {
    counters_[counter].fetch_add(amount, std::memory_order_relaxed);
  }
  uint64_t operator[](size_t counter) const {
    return counters_[counter].load(std::memory_order_relaxed);
  }

  // Whether others see these.
  bool IsShared() const;

 private:
  using Counter = std::atomic<uint64_t>;
  static_assert(Counter::is_always_lock_free && sizeof(Counter) == sizeof(uint64_t));

  struct Header {
    uint32_t magic;
    uint32_t layout;
    uint32_t count;
    uint32_t unused;
  };

  size_t FileSize() const { return sizeof(Header) + count_ * sizeof(Counter); }
  Header OwnHeader() const;
  bool IsOwnFile(int file) const;
  bool Map(const std::string& path);
  bool Make(const std::string& path) const;
  void Unmap();

  const std::string directory_;
  const std::string name_;
  const uint32_t layout_;
  const uint32_t count_;
  const std::unique_ptr<Counter[]> own_;  // while there is no file
  posix::UniqueFd file_;
  void* mapping_ = nullptr;
  unsigned forks_ = 0;  // from the first process to the one that has mapped it
  Counter* counters_;
};

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_SHARED_COUNTERS_H_
