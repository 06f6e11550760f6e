#include "service/base/worker_pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <stdexcept>

#include "unit/service/processes.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

sigset_t NoSignals() {
  sigset_t none;
  sigemptyset(&none);
  return none;
}

// Does all tasks and gives what came of each.
std::map<std::string, WorkerPool::End> DoAll(WorkerPool& pool, std::vector<std::string> tasks) {
  std::map<std::string, WorkerPool::End> ends;
  while (!tasks.empty() || pool.IsBusy()) {
    while (pool.HasIdle() && !tasks.empty()) {
      pool.Give(tasks.back());
      tasks.pop_back();
    }
    for (const auto& end : pool.Wait(milliseconds(1000), NoSignals())) ends[end.task] = end;
  }
  return ends;
}

std::string Do(const std::string& task) {
  if (task == "crash") raise(SIGKILL);
  if (task == "leave") _exit(7);
  if (task == "throw") throw std::runtime_error("no");
  return "done " + task;
}

TEST(WorkerPool, DoesEveryTask) {
  WorkerPool pool(3, Do);
  std::vector<std::string> tasks;
  for (int i = 0; i < 50; ++i) tasks.push_back(std::to_string(i));
  const auto ends = DoAll(pool, tasks);
  ASSERT_EQ(ends.size(), tasks.size());
  for (const auto& [task, end] : ends) EXPECT_EQ(end.result, "done " + task);
}

TEST(WorkerPool, TakesAnyBytes) {
  WorkerPool pool(1, Do);
  const std::string bytes = std::string("\xff\0\n", 3) + std::string(100000, 'x');
  EXPECT_EQ(DoAll(pool, {bytes}).at(bytes).result, "done " + bytes);
}

TEST(WorkerPool, AWorkerThatDiesIsReplacedAndItsDeathTold) {
  WorkerPool pool(1, Do);
  const auto ends = DoAll(pool, {"a", "crash", "b", "leave", "c", "throw", "d"});
  for (const char* task : {"a", "b", "c", "d"}) EXPECT_TRUE(ends.at(task).result) << task;
  EXPECT_THAT(ends.at("crash").death, HasSubstr("signal 9"));
  EXPECT_THAT(ends.at("leave").death, HasSubstr("status 7"));
  EXPECT_FALSE(ends.at("throw").result);
}

TEST(WorkerPool, AnInterruptedWorkerEndsItsToolAndAnswers) {
  const Signal begun;
  WorkerPool pool(1, [&begun](const std::string& /*task*/) {
    begun.Give();
    const char* const argv[] = {"/bin/sleep", "100", nullptr};
    const int status = VLIBCExecv(argv[0], argv, 1);
    return std::to_string(status) + (WorkerPool::IsInterrupted() ? " interrupted" : "");
  });
  pool.Give("a");
  begun.Await();
  std::vector<WorkerPool::End> ends;
  while (ends.empty()) {
    pool.Interrupt();  // the tool may not have started yet
    ends = pool.Wait(milliseconds(20), NoSignals());
  }
  EXPECT_EQ(ends[0].result, std::to_string(256 + SIGTERM) + " interrupted");
  // The next task has a worker that is not.
  pool.Give("b");
  begun.Await();
  pool.Interrupt();
}

TEST(WorkerPool, WorkersHaveNoStandardStreams) {
  WorkerPool pool(1, [](const std::string&) {
    return write(STDOUT_FILENO, "noise", 5) == 5 && isatty(STDERR_FILENO) == 0 ? "quiet" : "loud";
  });
  EXPECT_EQ(DoAll(pool, {"a"}).at("a").result, "quiet");
}

TEST(WorkerPool, WorkersEndWithTheirParent) {
  const Signal begun;
  const Signal ended;
  Process parent([&] {
    WorkerPool pool(2, [&](const std::string&) {
      begun.Give();
      while (!WorkerPool::IsInterrupted()) usleep(1000);
      ended.Give();
      return "";
    });
    pool.Give("a");
    begun.Await();
    raise(SIGKILL);
    return 0;
  });
  ended.Await();
}

}  // namespace
}  // namespace vexathumb::service
