#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

struct BrokenProgram {
  const char* name;
  const char* content;
  const char* why;
};

void PrintTo(const BrokenProgram& broken, std::ostream* out) { *out << broken.name; }

class BrokenProgramTest : public RenderTest, public testing::WithParamInterface<BrokenProgram> {
 protected:
  void SetUp() override {
    kit::WriteJpeg(dir_ / "source");
    kit::WriteFile(program_, GetParam().content);
    chmod(program_.c_str(), S_IRWXU);
  }

  const std::string program_ = dir_ / "renderer";
};

TEST_P(BrokenProgramTest, IsToldWithWhyItCannotBeStarted) {
  Renderer renderer(program_, milliseconds(300));
  EXPECT_TRUE(renderer.IsInstalled());
  EXPECT_FALSE(renderer.WhyNotStarted());
  const Answer answer = Run("source", JobOf(Fitting(60)), renderer);
  EXPECT_EQ(answer.ending, Ending::kStopped);
  EXPECT_THAT(answer.detail, HasSubstr(GetParam().why));
  EXPECT_EQ(renderer.WhyNotStarted(), answer.detail);
}

TEST_P(BrokenProgramTest, IsStartedWithoutWaitingAndLeavesNothing) {
  { Renderer(program_, milliseconds(300)).Start(); }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

constexpr BrokenProgram kBrokenPrograms[] = {
    {"WithoutItsLibraries", "#!/bin/sh\nexit 127\n", "it left with status 127"},
    {"ThatIsKilled", "#!/bin/sh\nkill -9 $$\n", "it was ended by signal 9, Killed"},
    {"ThatEnds", "#!/bin/sh\n", "it ended"},
    {"ThatHangs", "#!/bin/sh\nexec sleep 600\n", "it has not become ready in time"},
    {"ThatHangsBehindItsStarter", "#!/bin/sh\nexec 3<&0; sleep 600 <&3 &\n",
     "it has not become ready in time"},
    {"OfAnotherMachine", "\177ELF of another", "Exec format error"},
};
INSTANTIATE_TEST_SUITE_P(Programs, BrokenProgramTest, testing::ValuesIn(kBrokenPrograms),
                         kit::CaseName());

class StartTest : public RenderTest {};

// As a container does that has its own filter.
void RefuseFilters() {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_seccomp, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {4, rules};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

TEST_F(StartTest, IsNotTriedWhereNoProcessCanBeConfined) {
  kit::WriteJpeg(dir_ / "source");
  int status = -1;
  const pid_t process = fork();
  if (process == 0) {
    RefuseFilters();
    Renderer renderer(RENDERER);
    const Answer answer = Run("source", JobOf(Fitting(60)), renderer);
    const bool is_told = answer.detail.find("the kernel refuses filters") != std::string::npos;
    _exit(is_told && renderer.WhyNotStarted() ? 0 : 1);
  }
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vexathumb::render
