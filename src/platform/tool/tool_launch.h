#ifndef VEXAPLATFORM_TOOL_TOOL_LAUNCH_H_
#define VEXAPLATFORM_TOOL_TOOL_LAUNCH_H_

#include <linux/filter.h>
#include <sys/types.h>

#include <cerrno>
#include <string>
#include <vector>

#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// What a tool may do with a file, or with all that lies in a folder.
enum class PathUse {
  kReadSystem,  // read and execute
  kRead,
  kReadAndWrite,
  kWriteDevice,
  kMoveFrom,  // a folder: remove files in it
  kMoveTo,    // a folder: make and write files in it
  kTemporary  // a folder: make, read, write and remove files in it
};

struct PathRule {
  std::string path;
  PathUse use;
};

struct Link {
  std::string path;
  std::string target;
};

// One run of a tool, prepared by the host to the last detail: the processes that carry it out share
// the host's memory and must not allocate any. They fill in how it went.
struct ToolLaunch {
  std::string program;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  // The host's descriptors that become the tool's standard input and output; -1 is /dev/null.
  // Neither is 0, 1 or 2. With `output_is_socket` an octet waits unread at the tool's end of the
  // output, and is taken when the tool did not fail: left there, it turns the end of the stream
  // into an error.
  int input = -1;
  int output = -1;
  bool output_is_socket = false;
  bool has_error_output = false;  // whether the tool's messages go to the host's standard error

  ToolLimits limits;
  std::string private_folder;     // made, and removed with all that is in it; may be empty
  std::vector<Link> links;        // in the private folder
  std::string destination;        // what the tool writes; may be empty
  bool make_destination = false;  // as an empty file, when it does not exist
  bool confined = false;
  std::vector<PathRule> rules;
  std::vector<sock_filter> filter;

  // The answers.
  int error = ECHILD;              // errno when it could not be started
  const char* obstacle = nullptr;  // the path that the error is about, if not the program's
  bool started = false;            // the program runs, or ran
  bool supervised = false;         // to its end: what follows is known
  int wait_status = 0;             // as waitpid(2) tells it
  double cpu_seconds = 0;
  bool out_of_time = false;           // it met its wall time
  ToolLimit told = ToolLimit::kNone;  // the limit that its messages speak of
  pid_t group = 0;                    // its process group

  // What the processes work with.
  std::vector<char*> argv;
  std::vector<char*> envp;
  int host = -1;          // a descriptor that tells the host's end
  int started_pipe = -1;  // gets an octet, 1 when the program runs, 0 when it cannot; may be -1
  int messages = -1;      // the tool's standard error
  int ruleset = -1;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_LAUNCH_H_
