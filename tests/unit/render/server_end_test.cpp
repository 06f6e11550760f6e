#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

namespace fs = std::filesystem;

// The processes, jobs' among them, that run this very program.
std::vector<pid_t> ProcessesOf(const std::string& program) {
  std::vector<pid_t> found;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    if (fs::read_symlink(entry.path() / "exe", ignored) == program) found.push_back(stoi(name));
  }
  return found;
}

pid_t ParentOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  const size_t name_end = text.rfind(')');
  return name_end == std::string::npos ? 0 : stoi(text.substr(name_end + 4));
}

std::string NameOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

bool WaitFor(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

size_t OpenDescriptors(pid_t process) {
  const fs::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
  return static_cast<size_t>(std::distance(fs::begin(all), fs::end(all)));
}

// A renderer whose processes are told from those of others.
class ServerTest : public RenderTest {
 protected:
  void SetUp() override {
    fs::copy_file(RENDERER, program_);
    kit::WriteJpeg(dir_ / "source");
  }

  std::vector<pid_t> Servers() const { return Processes(false); }
  std::vector<pid_t> Jobs() const { return Processes(true); }

  bool IsGone() const {
    return WaitFor([&] { return ProcessesOf(program_).empty(); });
  }

  const std::string program_ = dir_ / "renderer";

 private:
  std::vector<pid_t> Processes(bool jobs) const {
    std::vector<pid_t> found;
    for (const pid_t process : ProcessesOf(program_)) {
      if ((NameOf(process) == "vexathumb-job") == jobs) found.push_back(process);
    }
    return found;
  }
};

TEST_F(ServerTest, StartsWithTheFirstJobAndServesTheNext) {
  Renderer renderer(program_);
  EXPECT_TRUE(ProcessesOf(program_).empty());
  EXPECT_EQ(Run("source", JobOf(Fitting(120)), renderer).ending, Ending::kDone);
  const std::vector<pid_t> first = Servers();
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(Run("source", JobOf(Fitting(120)), renderer).ending, Ending::kDone);
  EXPECT_EQ(Servers(), first);
}

TEST_F(ServerTest, EndsWithItsClient) {
  { EXPECT_EQ(Run("source", {}, *std::make_unique<Renderer>(program_)).ending, Ending::kDone); }
  EXPECT_TRUE(IsGone());
}

TEST_F(ServerTest, IsSharedByForkedProcesses) {
  Renderer renderer(program_);
  renderer.Start();
  std::vector<pid_t> processes;
  for (int i = 0; i < 3; ++i) {
    const pid_t process = fork();
    if (process == 0) {
      _exit(Run("source", {}, renderer).ending == Ending::kDone ? 0 : 1);
    }
    processes.push_back(process);
  }
  for (const pid_t process : processes) {
    int status = -1;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(Servers().size(), 1U);
}

// A process that does a job at a sign of its own.
class Worker {
 public:
  explicit Worker(const std::function<bool()>& job) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    sign_ = posix::UniqueFd(ends[1]);
    process_ = fork();
    if (process_ == 0) {
      char sign = 0;
      _exit(read(ends[0], &sign, 1) == 1 && job() ? 0 : 1);
    }
    close(ends[0]);
  }

  void Begin() const { EXPECT_EQ(write(sign_.get(), "", 1), 1); }

  // Whether its job was done.
  bool End() const {
    int status = -1;
    return waitpid(process_, &status, 0) == process_ && status == 0;
  }

 private:
  posix::UniqueFd sign_;
  pid_t process_ = -1;
};

class OfferedServerTest : public ServerTest {
 protected:
  Worker Fork() {
    return Worker([this] { return Run("source", {}, renderer_).ending == Ending::kDone; });
  }
  void AwaitWish() {
    pollfd wish = {renderer_.Offer(), POLLIN, 0};
    EXPECT_EQ(poll(&wish, 1, 120000), 1);
    renderer_.StartIfWanted();
  }

  Renderer renderer_{program_};
};

TEST_F(OfferedServerTest, StartsWhenTheFirstOfTheForkedProcessesWantsIt) {
  EXPECT_GE(renderer_.Offer(), 0);
  Worker first = Fork();
  Worker second = Fork();
  renderer_.StartIfWanted();
  EXPECT_TRUE(Servers().empty());
  first.Begin();
  AwaitWish();
  EXPECT_EQ(renderer_.Offer(), -1);
  EXPECT_TRUE(first.End());
  const std::vector<pid_t> servers = Servers();
  EXPECT_EQ(servers.size(), 1U);
  second.Begin();
  EXPECT_TRUE(second.End());
  EXPECT_EQ(Servers(), servers);
  EXPECT_EQ(Run("source", {}, renderer_).ending, Ending::kDone);
  EXPECT_EQ(Servers(), servers);
}

TEST_F(OfferedServerTest, IsReplacedByThoseWhoMeetItsEnd) {
  renderer_.Offer();
  Worker first = Fork();
  Worker second = Fork();
  Worker idle = Fork();  // which has the connection open and does nothing
  first.Begin();
  AwaitWish();
  EXPECT_TRUE(first.End());
  for (const pid_t server : Servers()) kill(server, SIGKILL);
  EXPECT_TRUE(IsGone());
  second.Begin();
  EXPECT_TRUE(second.End());
  idle.Begin();
  EXPECT_TRUE(idle.End());
}

TEST_F(OfferedServerTest, OfAProgramThatIsNoneIsMissed) {
  renderer_.Offer();
  Worker worker = Fork();
  fs::remove(program_);
  worker.Begin();
  AwaitWish();
  EXPECT_FALSE(worker.End());
}

TEST_F(ServerTest, IsReplacedWhenItWasKilledBetweenJobs) {
  Renderer renderer(program_);
  Run("source", {}, renderer);
  for (const pid_t server : Servers()) kill(server, SIGKILL);
  EXPECT_TRUE(IsGone());
  EXPECT_EQ(Run("source", JobOf(Fitting(120)), renderer).ending, Ending::kDone);
}

TEST_F(ServerTest, OfAProgramThatHasServedIsMissedForThatJobAlone) {
  Renderer renderer(program_);
  Run("source", {}, renderer);
  const std::vector<pid_t> servers = Servers();
  fs::remove(program_);
  for (const pid_t server : servers) kill(server, SIGKILL);
  EXPECT_TRUE(WaitFor([&] { return Run("source", {}, renderer).ending == Ending::kStopped; }));
  EXPECT_FALSE(renderer.WhyNotStarted());
  fs::copy_file(RENDERER, program_);
  EXPECT_EQ(Run("source", JobOf(Fitting(120)), renderer).ending, Ending::kDone);
}

TEST_F(ServerTest, IsReplacedWhenItIsKilledAtAJobWhichIsDoneOnceMore) {
  Renderer renderer(program_);
  Answer answer;
  std::thread thread([&] { answer = Run("long", LongJob(), renderer); });
  std::vector<pid_t> jobs;
  EXPECT_TRUE(WaitFor([&] { return !(jobs = Jobs()).empty(); }));
  const std::vector<pid_t> first = jobs;
  kill(ParentOf(first[0]), SIGKILL);
  EXPECT_TRUE(WaitFor([&] { return !(jobs = Jobs()).empty() && jobs[0] != first[0]; }));
  kill(jobs.at(0), SIGSEGV);  // it is not done once more for that
  thread.join();
  EXPECT_EQ(answer.ending, Ending::kCrashed) << answer.detail;
}

TEST_F(ServerTest, KilledTwiceProvesNothingAboutThePicture) {
  Renderer renderer(program_);
  Answer answer;
  std::atomic<bool> is_answered(false);
  std::thread thread([&] {
    answer = Run("long", LongJob(), renderer);
    is_answered = true;
  });
  EXPECT_TRUE(WaitFor([&] {
    for (const pid_t job : Jobs()) {
      const pid_t server = ParentOf(job);
      if (server > 1) kill(server, SIGKILL);
    }
    return is_answered.load();
  }));
  thread.join();
  EXPECT_EQ(answer.ending, Ending::kStopped);
  EXPECT_NE(answer.detail, "");
}

TEST_F(ServerTest, AKilledJobProvesNothingAboutThePicture) {
  Renderer renderer(program_);
  Answer answer;
  std::thread thread([&] { answer = Run("long", LongJob(), renderer); });
  EXPECT_TRUE(WaitFor([&] { return !Jobs().empty(); }));
  for (const pid_t job : Jobs()) kill(job, SIGKILL);
  thread.join();
  EXPECT_EQ(answer.ending, Ending::kStopped);
  EXPECT_EQ(answer.detail, "was ended by signal 9, Killed");
}

TEST_F(ServerTest, EndsTheJobsOfAClientThatHasDied) {
  Renderer renderer(program_);
  renderer.Start();
  const pid_t client = fork();
  if (client == 0) {
    Run("long", LongJob(), renderer);
    _exit(0);
  }
  EXPECT_TRUE(WaitFor([&] { return !Jobs().empty(); }));
  kill(client, SIGKILL);
  waitpid(client, nullptr, 0);
  EXPECT_TRUE(WaitFor([&] { return Jobs().empty(); }));
  EXPECT_EQ(Run("source", {}, renderer).ending, Ending::kDone);
}

TEST_F(ServerTest, EndsWithAClientThatHasDiedAtItsJob) {
  const pid_t client = fork();
  if (client == 0) {
    Renderer renderer(program_);
    Run("long", LongJob(), renderer);
    _exit(0);
  }
  EXPECT_TRUE(WaitFor([&] { return !Jobs().empty(); }));
  kill(client, SIGKILL);
  waitpid(client, nullptr, 0);
  EXPECT_TRUE(IsGone());
}

TEST_F(ServerTest, ThatIsMissingProvesNothingAboutThePicture) {
  Renderer renderer(dir_ / "nothing");
  EXPECT_FALSE(renderer.IsInstalled());
  const Answer answer = Run("source", {}, renderer);
  EXPECT_EQ(answer.ending, Ending::kStopped);
  EXPECT_NE(answer.detail.find("No such file"), std::string::npos) << answer.detail;
}

TEST_F(ServerTest, ThatDoesNothingProvesNothingAboutThePicture) {
  Renderer renderer("/bin/true");
  EXPECT_TRUE(renderer.IsInstalled());
  EXPECT_EQ(Run("source", {}, renderer).ending, Ending::kStopped);
}

TEST_F(ServerTest, DoesAHundredJobsAtOnceAndLeavesNoDescriptorOpen) {
  constexpr int kThreads = 8;
  constexpr int kJobsOfAThread = 13;
  Renderer renderer(program_);
  Run("source", {}, renderer);
  const std::vector<pid_t> servers = Servers();
  const size_t own = OpenDescriptors(getpid());
  const size_t of_server = OpenDescriptors(servers.at(0));
  std::atomic<int> done(0);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      const posix::UniqueFd file(open((dir_ / ("picture" + std::to_string(i))).c_str(),
                                      O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
      for (int k = 0; k < kJobsOfAThread; ++k) {
        const posix::UniqueFd source(open((dir_ / "source").c_str(), O_RDONLY | O_CLOEXEC));
        Job job = JobOf(Fitting(60));
        job.source = source.get();
        job.pictures[0].file = file.get();
        if (renderer.Run(job).ending == Ending::kDone) ++done;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(done, kThreads * kJobsOfAThread);
  EXPECT_EQ(OpenDescriptors(getpid()), own);
  EXPECT_EQ(Servers(), servers);
  EXPECT_TRUE(WaitFor([&] { return OpenDescriptors(servers.at(0)) <= of_server; }));
}

}  // namespace
}  // namespace vexathumb::render
