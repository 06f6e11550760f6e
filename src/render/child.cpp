#include "render/child.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <new>
#include <string>

#include "posix/error_text.h"
#include "render/allocation.h"
#include "render/confinement.h"
#include "render/picture_rendering.h"

namespace vexathumb::render {
namespace {

// As a process begins that nobody has told anything.
void ResetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool AreFiles(const std::vector<int>& files) {
  for (const int file : files) {
    struct stat status = {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  }
  return true;
}

AnswerRecord AnswerFor(const OrderRecord& order, const std::vector<int>& files) {
  if (!IsValid(order) || files.size() != 1U + order.picture_count) {
    return MakeAnswer(Ending::kStopped, "the job is no valid one");
  }
  if (!AreFiles(files)) return MakeAnswer(Ending::kStopped, "what was passed is no regular file");
  if (!KeepOnly(files) || !Confine({order.memory, order.cpu_milliseconds, order.file_size})) {
    const std::string detail = "a process cannot be confined: " + posix::TextOfError(errno);
    return MakeAnswer(Ending::kStopped, detail.c_str());
  }
  return Render(order, files);
}

}  // namespace

void DoJob(const OrderRecord& order, const std::vector<int>& files, pid_t server, JobNotes* notes) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != server) _exit(1);  // it died before
  prctl(PR_SET_NAME, "vexathumb-job");
  ResetSignals();
  NoteWantOfMemory(&notes->met_memory_limit);
  try {
    notes->answer = AnswerFor(order, files);
    notes->is_answered = 1;
  } catch (const std::bad_alloc&) {
    _exit(2);
  } catch (const std::exception&) {
    _exit(3);
  }
  _exit(0);
}

}  // namespace vexathumb::render
