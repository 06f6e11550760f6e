#include "posix/open_beneath.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::posix {
namespace {

namespace fs = std::filesystem;

class OpenBeneathTest : public testing::Test {
 protected:
  OpenBeneathTest() {
    fs::create_directory(dir_ / "folder");
    kit::WriteFile(dir_ / "folder/file", "x");
    fs::create_symlink("file", dir_ / "folder/link");
    fs::create_directory_symlink("folder", dir_ / "linked");
    folder_ = UniqueFd(open(dir_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }

  kit::TempDir dir_;
  UniqueFd folder_;
};

TEST_F(OpenBeneathTest, OpensFilesFoldersAndTheFolderItself) {
  for (const char* path : {"folder/file", "folder", "folder/../folder/file", "."}) {
    const UniqueFd found = OpenBeneath(folder_.get(), path, O_RDONLY);
    ASSERT_TRUE(found) << path;
    EXPECT_EQ(fcntl(found.get(), F_GETFD), FD_CLOEXEC) << path;
  }
}

TEST_F(OpenBeneathTest, ALinkAtTheEndIsOpenedAsALinkOnly) {
  EXPECT_TRUE(OpenBeneath(folder_.get(), "folder/link", O_PATH | O_NOFOLLOW));
}

struct RefusedCase {
  const char* name;
  const char* path;
  int error;
};

class RefusedBeneathTest : public OpenBeneathTest,
                           public testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedBeneathTest, SaysWhy) {
  EXPECT_FALSE(OpenBeneath(folder_.get(), GetParam().path, O_RDONLY));
  EXPECT_EQ(errno, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Paths, RefusedBeneathTest,
                         testing::Values(RefusedCase{"LinkAtTheEnd", "folder/link", ELOOP},
                                         RefusedCase{"LinkOnTheWay", "linked/file", ELOOP},
                                         RefusedCase{"Above", "..", EXDEV},
                                         RefusedCase{"AboveOnTheWay", "../x", EXDEV},
                                         RefusedCase{"Absolute", "/", EXDEV},
                                         RefusedCase{"Missing", "other", ENOENT}),
                         kit::CaseName());

bool TakeOpenat2Away() {
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(steps), steps};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST_F(OpenBeneathTest, WithoutOpenat2NothingIsOpenedInAnotherWay) {
  EXPECT_EXIT(
      {
        if (!TakeOpenat2Away()) _exit(1);
        if (TryOpenBeneath(folder_.get(), "folder", O_PATH) || errno != ENOSYS) _exit(2);
        try {
          OpenBeneath(folder_.get(), "folder", O_PATH);
        } catch (const std::system_error& error) {
          _exit(error.code() == std::errc::function_not_supported ? 0 : 3);
        }
        _exit(4);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vexathumb::posix
