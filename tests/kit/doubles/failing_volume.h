#ifndef VEXATHUMB_TESTS_KIT_DOUBLES_FAILING_VOLUME_H_
#define VEXATHUMB_TESTS_KIT_DOUBLES_FAILING_VOLUME_H_

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kit/temp_dir.h"

namespace vexathumb::kit {

// A volume of a file system of its own, mounted at a folder, whose operations fail as the test
// wants it: for all processes, as those of a worn disk or of a file server do. Its files lie in a
// folder elsewhere, which the test may use meanwhile. For a mount namespace of its own.
class FailingVolume {
 public:
  explicit FailingVolume(const std::string& mount_point);
  ~FailingVolume();
  FailingVolume(const FailingVolume&) = delete;
  FailingVolume& operator=(const FailingVolume&) = delete;

  bool IsMounted() const { return device_ >= 0; }

  // The path at which a file of the volume can be had whatever fails.
  std::string Behind(const std::string& name) const { return files_ / name; }

  // From now on: "stat", "open" (of what is there), "read", "create", "mkdir", "write", "rename".
  void Fail(const std::string& operation, int error);
  void FailReadsOfSecondHalves(int error);
  void Mend();

 private:
  struct Request;

  void Serve();
  void Answer(const Request& request);
  int FaultOf(const std::string& operation);
  int ReadFaultAt(int file, long end);
  std::string PathOf(unsigned long node);
  unsigned long NodeOf(const std::string& path);
  void Reply(const Request& request, int error, const void* data = nullptr, size_t size = 0) const;
  void ReplyEntry(const Request& request, const std::string& path, int opened = -1);
  void ReplyAttributes(const Request& request, const std::string& path) const;
  void Change(const Request& request, const std::string& path) const;
  void List(const Request& request, const std::string& path) const;

  TempDir files_;
  std::string mount_point_;
  int device_ = -1;
  std::thread server_;

  std::mutex mutex_;
  std::map<std::string, int> faults_;
  int read_fault_ = 0;

  // Of the server alone.
  std::vector<std::string> paths_;  // by node, whose numbers begin with 1
};

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_DOUBLES_FAILING_VOLUME_H_
