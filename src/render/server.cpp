#include "render/server.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vips/vips.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <list>
#include <utility>
#include <vector>

#include "posix/message.h"
#include "posix/unique_fd.h"
#include "render/modules.h"
#include "render/order.h"
#include "render/running_job.h"

namespace vexathumb::render {
namespace {

using posix::Message;
using Clock = RunningJob::Clock;

// Whoever sends rubbish gets an answer if there is a place to send it to.
void Refuse(const Message& message) {
  if (message.descriptors.empty()) return;
  const AnswerRecord answer = MakeAnswer(Ending::kStopped, "the renderer does not know such a job");
  posix::SendMessage(message.descriptors[kReplyDescriptor].get(), &answer, sizeof(answer), {});
}

bool IsWhole(const Message& message, const OrderRecord& order) {
  return message.size == sizeof(order) && !message.lacks_descriptors && IsValid(order) &&
         message.descriptors.size() == kFirstFileDescriptor + order.picture_count;
}

// While one decodes the others scale, convert and encode. More than these have nothing to do.
int ThreadsOfJobAlone() {
  constexpr int kMost = 4;
  return std::min(get_nprocs(), kMost);
}

class Loop {
 public:
  explicit Loop(int jobs) : jobs_(jobs), most_(static_cast<size_t>(get_nprocs()) * 2) {
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, nullptr);
    ended_ = posix::UniqueFd(signalfd(-1, &child, SFD_CLOEXEC | SFD_NONBLOCK));
  }

  void Run() {
    while (!is_over_) Turn();
    for (RunningJob& job : running_) job.Abandon();
    while (wait(nullptr) > 0) {
    }
  }

 private:
  void Turn() {
    std::vector<pollfd> watched = {{ended_.get(), POLLIN, 0}};
    watched.push_back({running_.size() < most_ ? jobs_ : -1, POLLIN, 0});
    for (const RunningJob& job : running_) watched.push_back({job.reply(), 0, 0});
    if (poll(watched.data(), watched.size(), Patience()) < 0) return;
    // In the order in which they were listed: none is removed before all have been looked at.
    auto reply = watched.begin() + 2;
    for (RunningJob& job : running_) {
      if (((reply++)->revents & (POLLHUP | POLLERR)) != 0) job.Abandon();
      if (job.deadline() <= Clock::now()) job.EndByTime();
    }
    if (watched[0].revents != 0) Reap();
    if (watched[1].revents != 0) TakeJob();
  }

  // Milliseconds until the first deadline, rounded up; -1 where there is none.
  int Patience() const {
    auto first = Clock::time_point::max();
    for (const RunningJob& job : running_) first = std::min(first, job.deadline());
    if (first == Clock::time_point::max()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - Clock::now()).count();
    return static_cast<int>(std::clamp<long>(left, 0, 60'000));
  }

  void Reap() {
    signalfd_siginfo signals[16];
    while (read(ended_.get(), signals, sizeof(signals)) > 0) {
    }
    int status = 0;
    rusage usage = {};
    for (pid_t process = 0; (process = wait4(-1, &status, WNOHANG, &usage)) > 0;) {
      const auto job = std::find_if(running_.begin(), running_.end(), [&](const RunningJob& each) {
        return each.process() == process;
      });
      if (job == running_.end()) continue;
      job->Answer(status, usage);
      running_.erase(job);
    }
  }

  void TakeJob() {
    OrderRecord order = {};
    Message message = posix::ReceiveMessage(jobs_, &order, sizeof(order));
    if (message.size <= 0) {
      is_over_ = true;
    } else if (!IsWhole(message, order)) {
      Refuse(message);
    } else {
      LoadModulesFor(message.descriptors[kSourceDescriptor].get());
      vips_concurrency_set(running_.empty() ? ThreadsOfJobAlone() : 1);
      running_.emplace_back(order, std::move(message.descriptors));
      if (running_.back().has_started()) return;
      running_.back().AnswerNotStarted();
      running_.pop_back();
    }
  }

  const int jobs_;
  const size_t most_;
  posix::UniqueFd ended_;
  std::list<RunningJob> running_;
  bool is_over_ = false;
};

}  // namespace

void Serve(int socket) {
  const AnswerRecord greeting = MakeAnswer(Ending::kDone, "");
  posix::SendMessage(socket, &greeting, sizeof(greeting), {});
  Loop(socket).Run();
}

void Decline(int socket, const char* why) {
  const AnswerRecord greeting = MakeAnswer(Ending::kStopped, why);
  posix::SendMessage(socket, &greeting, sizeof(greeting), {});
}

}  // namespace vexathumb::render
