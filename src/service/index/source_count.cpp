#include "service/index/source_count.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "service/index/source_stream.h"

namespace vexathumb::service {
namespace {

size_t Count(const std::vector<std::string>& names, const WalkOptions& options) {
  SourceStream sources(names, nullptr, options);
  size_t count = 0;
  while (!sources.AtEnd()) {
    const auto item = sources.Next();
    if (item && item->kind == SourceStream::Item::Kind::kSource) ++count;
  }
  return count;
}

}  // namespace

SourceCount::SourceCount(const std::vector<std::string>& names, const WalkOptions& options) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;  // then nobody knows
  fd_ = posix::UniqueFd(ends[0]);
  const posix::UniqueFd childs_end(ends[1]);
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    size_t count = 0;
    try {
      count = Count(names, options);
    } catch (...) {
      _exit(1);
    }
    _exit(write(childs_end.get(), &count, sizeof(count)) == sizeof(count) ? 0 : 1);
  }
  fcntl(fd_.get(), F_SETFL, O_NONBLOCK);
}

SourceCount::~SourceCount() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

std::optional<size_t> SourceCount::Total() {
  size_t count = 0;
  if (!total_ && fd_ && read(fd_.get(), &count, sizeof(count)) == sizeof(count)) total_ = count;
  return total_;
}

}  // namespace vexathumb::service
