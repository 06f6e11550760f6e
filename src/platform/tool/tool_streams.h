#ifndef VEXAPLATFORM_TOOL_TOOL_STREAMS_H_
#define VEXAPLATFORM_TOOL_TOOL_STREAMS_H_

#include "posix/unique_fd.h"

namespace vexaplatform {

// What becomes of a tool's standard streams.
struct ToolStreams {
  // The host's descriptors that become the tool's standard input and output; -1 is /dev/null.
  // Neither is 0, 1 or 2.
  int input = -1;
  int output = -1;
  // An octet waits unread at the tool's end of the output, and is taken when the tool did not fail:
  // left there, it turns the end of the stream into an error.
  bool output_is_socket = false;
  bool has_error_output = false;  // whether the tool's messages go to the host's standard error
};

// The two ends of a channel between a host and a tool. Neither is one of the descriptors 0, 1 and
// 2, which a tool takes for its standard streams, and both are closed on exec.
struct Channel {
  vexathumb::posix::UniqueFd hosts_end;
  vexathumb::posix::UniqueFd tools_end;
};

// Gives the descriptor a number above 2, closed on exec: in a host without standard streams new
// ones take their numbers. 0, or -1 with errno set.
int MoveAboveStandardStreams(vexathumb::posix::UniqueFd* fd);

// These make a channel. 0, or -1 with errno set.

// The host writes into it.
int MakeInputChannel(Channel* channel);

// The host reads from it. Its end is an error, not an end of file, unless an octet that waits at
// the tool's end is read before that is closed.
int MakeOutputChannel(Channel* channel);

// Nothing is sent but signs of life, from the tool's end to the host's.
int MakeSignChannel(Channel* channel);

// Whether this process has a standard error that a tool of this thread may write to: not what ends,
// in a pipe, a socket or a file, in its standard output, and none while a QuietTools lives.
bool HasErrorOutput();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_STREAMS_H_
