#include "platform/tool/tool_streams.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vexaplatform/quiet_tools.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

constexpr int kFirstOther = STDERR_FILENO + 1;

thread_local int quiet = 0;  // how many of these live

int TakeEnds(int hosts_end, int tools_end, Channel* channel) {
  channel->hosts_end = UniqueFd(hosts_end);
  channel->tools_end = UniqueFd(tools_end);
  return MoveAboveStandardStreams(&channel->hosts_end) == 0
             ? MoveAboveStandardStreams(&channel->tools_end)
             : -1;
}

}  // namespace

int MoveAboveStandardStreams(UniqueFd* fd) {
  if (fd->get() >= kFirstOther) return 0;
  UniqueFd moved(fcntl(fd->get(), F_DUPFD_CLOEXEC, kFirstOther));
  if (!moved) return -1;
  *fd = std::move(moved);
  return 0;
}

int MakeInputChannel(Channel* channel) {
  int ends[2];
  return pipe2(ends, O_CLOEXEC) == 0 ? TakeEnds(ends[1], ends[0], channel) : -1;
}

int MakeOutputChannel(Channel* channel) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  if (TakeEnds(ends[0], ends[1], channel) != 0) return -1;
  return send(channel->hosts_end.get(), "", 1, MSG_NOSIGNAL) == 1 ? 0 : -1;
}

int MakeSignChannel(Channel* channel) {
  int ends[2];
  return pipe2(ends, O_CLOEXEC) == 0 ? TakeEnds(ends[0], ends[1], channel) : -1;
}

QuietTools::QuietTools() { ++quiet; }

QuietTools::~QuietTools() { --quiet; }

bool HasErrorOutput() {
  if (quiet > 0 || fcntl(STDERR_FILENO, F_GETFD) == -1) return false;
  struct stat output {};
  struct stat error {};
  // A terminal is both, and for the same eyes.
  return fstat(STDOUT_FILENO, &output) != 0 || fstat(STDERR_FILENO, &error) != 0 ||
         S_ISCHR(error.st_mode) || output.st_dev != error.st_dev || output.st_ino != error.st_ino;
}

}  // namespace vexaplatform
