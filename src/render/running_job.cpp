#include "render/running_job.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <utility>

#include "posix/error_text.h"
#include "posix/message.h"
#include "posix/process_end.h"
#include "render/child.h"

namespace vexathumb::render {
namespace {

constexpr char kOutOfMemory[] = "memory";
constexpr char kOutOfProcessorTime[] = "processor time";
constexpr char kOutOfTime[] = "time";
constexpr char kTooLargeFile[] = "size of a file";

std::chrono::milliseconds ProcessorTime(const rusage& usage) {
  const auto sum = [](const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  };
  return std::chrono::duration_cast<std::chrono::milliseconds>(sum(usage.ru_utime) +
                                                               sum(usage.ru_stime));
}

}  // namespace

RunningJob::RunningJob(const OrderRecord& order, std::vector<posix::UniqueFd> descriptors)
    : order_(order),
      descriptors_(std::move(descriptors)),
      deadline_(Clock::now() + std::chrono::milliseconds(order.wall_milliseconds)) {
  if (answer_.notes() == nullptr) {
    start_error_ = ENOMEM;
    return;
  }
  std::vector<int> files;
  for (size_t i = kSourceDescriptor; i < descriptors_.size(); ++i) {
    files.push_back(descriptors_[i].get());
  }
  const pid_t server = getpid();
  process_ = fork();
  if (process_ == 0) DoJob(order_, files, server, answer_.notes());
  if (process_ < 0) start_error_ = errno;
}

void RunningJob::EndByTime() {
  is_out_of_time_ = true;
  deadline_ = Clock::time_point::max();
  kill(process_, SIGKILL);
}

void RunningJob::Abandon() {
  descriptors_[kReplyDescriptor] = posix::UniqueFd();
  kill(process_, SIGKILL);
}

AnswerRecord RunningJob::AnswerOf(int status, const rusage& usage) const {
  const JobNotes& notes = *answer_.notes();
  AnswerRecord answer = notes.answer;
  const bool is_answered = notes.is_answered != 0 && MakeHarmless(&answer) && WIFEXITED(status) &&
                           WEXITSTATUS(status) == 0;
  if (is_answered && answer.ending == Ending::kDone) return answer;
  const auto end = [&answer, is_answered](Ending ending, const std::string& detail) {
    if (!is_answered) answer = MakeAnswer(ending, "");  // half of it may be there
    answer.ending = ending;
    SetText(answer.detail.data(), answer.detail.size(), detail.c_str());
    return answer;
  };
  const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  if (is_out_of_time_) return end(Ending::kLimited, kOutOfTime);
  if (notes.met_memory_limit != 0 && (is_answered || posix::IsOwnFault(signal) || signal == 0)) {
    return posix::MachineHasMemory(order_.memory) ? end(Ending::kLimited, kOutOfMemory)
                                                  : end(Ending::kStopped, "got too little memory");
  }
  if (is_answered) return answer;
  if (signal == 0) return end(Ending::kCrashed, posix::TextOfEnd(status));
  const bool has_used_its_time =
      ProcessorTime(usage) >= std::chrono::milliseconds(order_.cpu_milliseconds);
  if (signal == SIGPROF || signal == SIGXCPU || (signal == SIGKILL && has_used_its_time)) {
    return end(Ending::kLimited, kOutOfProcessorTime);
  }
  if (signal == SIGXFSZ) return end(Ending::kLimited, kTooLargeFile);
  return end(posix::IsOwnFault(signal) ? Ending::kCrashed : Ending::kStopped,
             posix::TextOfEnd(status));
}

void RunningJob::Answer(int status, const rusage& usage) const {
  if (!descriptors_[kReplyDescriptor]) return;
  AnswerRecord answer = AnswerOf(status, usage);
  answer.peak_memory = static_cast<uint64_t>(usage.ru_maxrss) * 1024;
  posix::SendMessage(reply(), &answer, sizeof(answer), {});
}

void RunningJob::AnswerNotStarted() const {
  const std::string detail = "no process can be started: " + posix::TextOfError(start_error_);
  const AnswerRecord answer = MakeAnswer(Ending::kStopped, detail.c_str());
  posix::SendMessage(reply(), &answer, sizeof(answer), {});
}

}  // namespace vexathumb::render
