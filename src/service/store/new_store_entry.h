#ifndef VEXATHUMB_SERVICE_STORE_NEW_STORE_ENTRY_H_
#define VEXATHUMB_SERVICE_STORE_NEW_STORE_ENTRY_H_

#include <ctime>
#include <string>

namespace vexathumb::service {

// An entry of a store directory that appears under its name when it is complete, with the source's
// modification time, or not at all.
//
//   NewStoreEntry entry(stored);
//   if (ConvertCmd(info, source, entry.path()).exec() && entry.Commit(source_status.st_mtime)) …
class NewStoreEntry {
 public:
  explicit NewStoreEntry(const std::string& stored);

  // One that will be handed out, under a name in /var/tmp that tells it is ours; it has no
  // extension.
  static NewStoreEntry OutsideStore(const std::string& name);

  NewStoreEntry(const NewStoreEntry&) = delete;
  NewStoreEntry& operator=(const NewStoreEntry&) = delete;
  // Without Commit nothing remains, nor does what the library's commands put beside path() under
  // longer names and leave there when they fail.
  ~NewStoreEntry();

  // Where to write it: in the same directory, with the same extension.
  const std::string& path() const { return temporary_; }

  // False when it cannot be done; what had the name before is then still there.
  bool Commit(time_t modified);

  // Leaves it where it is, at path(), to the caller, who removes it after use. False when it cannot
  // be done.
  bool HandOut(time_t modified);

 private:
  NewStoreEntry(std::string stored, std::string temporary);

  std::string stored_;
  std::string temporary_;
  bool Finish(time_t modified) const;

  bool is_finished_ = false;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_NEW_STORE_ENTRY_H_
