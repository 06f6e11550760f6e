#include "service/base/run_signals.h"

namespace vexathumb::service {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGUSR1};

volatile std::sig_atomic_t g_stop_requests = 0;
volatile std::sig_atomic_t g_is_asked = 0;

void Note(int signal) {
  if (signal == SIGUSR1) {
    g_is_asked = 1;
  } else {
    g_stop_requests = g_stop_requests + 1;
  }
}

}  // namespace

RunSignals::RunSignals() {
  g_stop_requests = 0;
  g_is_asked = 0;
  sigset_t blocked;
  sigemptyset(&blocked);
  struct sigaction action = {};
  action.sa_handler = Note;
  for (const int signal : kSignals) {
    sigaddset(&blocked, signal);
    sigaction(signal, &action, nullptr);
  }
  sigprocmask(SIG_BLOCK, &blocked, &before_);
  for (const int signal : kSignals) sigdelset(&before_, signal);
}

RunSignals::~RunSignals() {
  for (const int signal : kSignals) std::signal(signal, SIG_IGN);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int RunSignals::StopRequests() const { return g_stop_requests; }

bool RunSignals::TakeQuestion() {
  const bool is_asked = g_is_asked != 0;
  g_is_asked = 0;
  return is_asked;
}

}  // namespace vexathumb::service
