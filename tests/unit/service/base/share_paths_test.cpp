#include "service/base/share_paths.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using kit::CaseName;

// A share with folders, hidden files, and links in and out; secrets lie beside it.
class SharePathsTest : public testing::Test {
 protected:
  SharePathsTest() {
    fs::create_directories(share_.path + "/folder/deeper");
    fs::create_directories(share_.path + "/.vexaea/a.jpg");
    fs::create_directories(share_.path + "/folder/.hidden");
    fs::create_directory(dir_ / "share-neighbour");
    for (const char* file :
         {"a.jpg", "folder/b.jpg", "folder/deeper/c.jpg", ".hidden.jpg", "folder/.hidden/d.jpg",
          ".vexaea/a.jpg/VEXAFILE_THUMB_S.jpg", "..a.jpg", "new\nline.jpg", "b\xff\xfe.jpg", "-rf",
          "back\\slash.jpg", "per%2e%2ecent.jpg", " "}) {
      kit::WriteFile(share_.path + "/" + file, "inside");
    }
    kit::WriteFile(share_.path + "/" + std::string(NAME_MAX, 'n'), "inside");
    kit::WriteFile(dir_ / "secret.jpg", "outside");
    kit::WriteFile(dir_ / "share-neighbour/secret.jpg", "outside");
    Link("../secret.jpg", "link-out.jpg");
    Link(dir_ / "secret.jpg", "link-out-absolute.jpg");
    Link("a.jpg", "link-in.jpg");
    Link("folder", "link-folder-in");
    Link("..", "link-up");
    Link("/", "link-root");
    Link(".", "link-self");
    Link("link-loop", "link-loop");
    Link("missing", "link-dangling");
    Link("/proc/self/cwd", "link-magic");
    Link("/proc/self/fd", "link-descriptors");
    kit::WriteFifo(share_.path + "/fifo.jpg");
  }

  void Link(const std::string& target, const std::string& name) const {
    fs::create_symlink(target, share_.path + "/" + name);
  }

  kit::TempDir dir_;
  const vexaplatform::ShareSettings share_ = {"photo", dir_ / "share", false};
};

struct PathCase {
  const char* name;
  std::string path;
};

class FoundPathTest : public SharePathsTest, public testing::WithParamInterface<PathCase> {};

TEST_P(FoundPathTest, IsBeneathTheShare) {
  const std::string& relative = GetParam().path;
  const auto found = FindInShare(share_, relative);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->path, relative.empty() ? share_.path : share_.path + "/" + relative);
  struct stat st = {};
  ASSERT_EQ(lstat(found->path.c_str(), &st), 0);
  EXPECT_EQ(found->status.st_ino, st.st_ino);
  EXPECT_EQ(found->status.st_mode, st.st_mode);
}

INSTANTIATE_TEST_SUITE_P(
    Names, FoundPathTest,
    testing::Values(
        PathCase{"Share", ""}, PathCase{"File", "a.jpg"}, PathCase{"Folder", "folder"},
        PathCase{"FileInFolder", "folder/b.jpg"}, PathCase{"Deeper", "folder/deeper/c.jpg"},
        PathCase{"LineBreak", "new\nline.jpg"}, PathCase{"BytesThatAreNoText", "b\xff\xfe.jpg"},
        PathCase{"Option", "-rf"}, PathCase{"Backslash", "back\\slash.jpg"},
        PathCase{"PercentSigns", "per%2e%2ecent.jpg"}, PathCase{"Blank", " "},
        PathCase{"LongestName", std::string(NAME_MAX, 'n')}, PathCase{"Fifo", "fifo.jpg"}),
    CaseName());

class RefusedPathTest : public FoundPathTest {};

TEST_P(RefusedPathTest, IsAsGoodAsMissing) { EXPECT_FALSE(FindInShare(share_, GetParam().path)); }

INSTANTIATE_TEST_SUITE_P(
    Climbing, RefusedPathTest,
    testing::Values(
        PathCase{"Up", ".."}, PathCase{"UpToASecret", "../secret.jpg"},
        PathCase{"UpToANeighbour", "../share-neighbour/secret.jpg"},
        PathCase{"UpAndBack", "../share/a.jpg"}, PathCase{"DownAndUp", "folder/../a.jpg"},
        PathCase{"DownAndOut", "folder/../../secret.jpg"}, PathCase{"UpAtTheEnd", "folder/.."},
        PathCase{"UpFromAFile", "a.jpg/.."},
        PathCase{"UpManyTimes", "../../../../../../etc/passwd"},
        PathCase{"UpFromAMissingFolder", "missing/../../secret.jpg"}, PathCase{"Self", "."},
        PathCase{"SelfInFront", "./a.jpg"}, PathCase{"SelfInBetween", "folder/./b.jpg"},
        PathCase{"SelfAtTheEnd", "folder/."}, PathCase{"ThreeDots", "..."},
        PathCase{"Backslashes", "..\\secret.jpg"}, PathCase{"Percent", "%2e%2e/secret.jpg"}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    Slashes, RefusedPathTest,
    testing::Values(PathCase{"Absolute", "/etc/passwd"}, PathCase{"AbsoluteInside", "/a.jpg"},
                    PathCase{"Alone", "/"}, PathCase{"Two", "//"},
                    PathCase{"Leading", "//folder/b.jpg"}, PathCase{"Double", "folder//b.jpg"},
                    PathCase{"TrailingOfAFolder", "folder/"}, PathCase{"TrailingOfAFile", "a.jpg/"},
                    PathCase{"TrailingTwice", "folder//"}, PathCase{"BelowAFile", "a.jpg/b.jpg"}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    Hidden, RefusedPathTest,
    testing::Values(PathCase{"File", ".hidden.jpg"}, PathCase{"Folder", "folder/.hidden"},
                    PathCase{"BelowAHiddenFolder", "folder/.hidden/d.jpg"},
                    PathCase{"Store", ".vexaea"}, PathCase{"StoreDirectory", ".vexaea/a.jpg"},
                    PathCase{"StoredFile", ".vexaea/a.jpg/VEXAFILE_THUMB_S.jpg"},
                    PathCase{"TwoDotsInFront", "..a.jpg"}),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    Links, RefusedPathTest,
    testing::Values(PathCase{"Out", "link-out.jpg"},
                    PathCase{"OutAbsolute", "link-out-absolute.jpg"}, PathCase{"In", "link-in.jpg"},
                    PathCase{"FolderIn", "link-folder-in"},
                    PathCase{"BelowAFolderIn", "link-folder-in/b.jpg"}, PathCase{"Up", "link-up"},
                    PathCase{"ThroughUp", "link-up/secret.jpg"},
                    PathCase{"ThroughUpAndBack", "link-up/share/a.jpg"},
                    PathCase{"Root", "link-root"}, PathCase{"ThroughRoot", "link-root/etc/passwd"},
                    PathCase{"Self", "link-self"}, PathCase{"ThroughSelf", "link-self/a.jpg"},
                    PathCase{"Loop", "link-loop"}, PathCase{"ThroughALoop", "link-loop/a.jpg"},
                    PathCase{"Dangling", "link-dangling"},
                    PathCase{"BelowADanglingOne", "link-dangling/a.jpg"},
                    PathCase{"Magic", "link-magic"}, PathCase{"ThroughMagic", "link-magic/a.jpg"},
                    PathCase{"Descriptors", "link-descriptors/0"}),
    CaseName());

std::string Repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

INSTANTIATE_TEST_SUITE_P(
    Odd, RefusedPathTest,
    testing::Values(PathCase{"Missing", "missing.jpg"},
                    PathCase{"BelowAMissingFolder", "missing/a.jpg"},
                    PathCase{"OtherCase", "A.JPG"}, PathCase{"NulInTheMiddle", {"a.jpg\0b", 7}},
                    PathCase{"NulAtTheEnd", {"a.jpg\0", 6}}, PathCase{"NulAlone", {"\0", 1}},
                    PathCase{"NulAndUp", {"a.jpg\0/../../secret.jpg", 23}},
                    PathCase{"NameTooLong", std::string(NAME_MAX + 1, 'n')},
                    PathCase{"FolderNameTooLong", std::string(NAME_MAX + 1, 'n') + "/a.jpg"},
                    PathCase{"PathTooLong", Repeated("folder/", 700) + "b.jpg"},
                    PathCase{"ManyComponents", Repeated("f/", 2100) + "b.jpg"},
                    PathCase{"BlankInFront", " a.jpg"}, PathCase{"BlankBehind", "a.jpg "},
                    PathCase{"LineBreakBehind", "a.jpg\n"},
                    PathCase{"NameOfTheShare", "share/a.jpg"},
                    PathCase{"WholePath", "tmp/share/a.jpg"}, PathCase{"Pattern", "*.jpg"},
                    PathCase{"Home", "~/a.jpg"}, PathCase{"Url", "file:///etc/passwd"}),
    CaseName());

TEST_F(SharePathsTest, TheSharesOwnPathMayBeALink) {
  fs::create_directory_symlink(share_.path, dir_ / "way-in");
  const auto found = FindInShare({"photo", dir_ / "way-in", false}, "folder/b.jpg");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->path, dir_ / "way-in/folder/b.jpg");
  EXPECT_FALSE(FindInShare({"photo", dir_ / "way-in", false}, "link-in.jpg"));
}

TEST_F(SharePathsTest, AShareThatIsNotThereHoldsNothing) {
  EXPECT_FALSE(FindInShare({"photo", dir_ / "missing", false}, ""));
  EXPECT_FALSE(FindInShare({"photo", dir_ / "secret.jpg", false}, ""));
}

TEST_F(SharePathsTest, TheWholeMachineMayBeAShare) {
  const auto found = FindInShare({"all", "/", false}, share_.path.substr(1) + "/a.jpg");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->path, share_.path + "/a.jpg");
  EXPECT_EQ(FindInShare({"all", "/", false}, "")->path, "/");
  EXPECT_FALSE(FindInShare({"all", "/", false}, "proc/self/exe"));
}

vexaplatform::Settings NestedShares() {
  vexaplatform::Settings settings;
  settings.shares = {{"outer", "/volume1/photo", false},
                     {"inner", "/volume1/photo/family", true},
                     {"innermost", "/volume1/photo/family/2020", false},
                     {"like-outer", "/volume1/photos", false}};
  return settings;
}

struct OwnerCase {
  const char* name;
  const char* path;
  const char* share;  // "" for none
};

class ShareOfTest : public testing::TestWithParam<OwnerCase> {};

TEST_P(ShareOfTest, IsTheInnermost) {
  const vexaplatform::Settings settings = NestedShares();
  const auto* const share = ShareOf(settings, GetParam().path);
  EXPECT_EQ(share != nullptr ? share->name : "", GetParam().share);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, ShareOfTest,
    testing::Values(OwnerCase{"Outer", "/volume1/photo/a.jpg", "outer"},
                    OwnerCase{"OuterFolder", "/volume1/photo/b/a.jpg", "outer"},
                    OwnerCase{"Inner", "/volume1/photo/family/a.jpg", "inner"},
                    OwnerCase{"LikeInner", "/volume1/photo/family2/a.jpg", "outer"},
                    OwnerCase{"Innermost", "/volume1/photo/family/2020/a.jpg", "innermost"},
                    OwnerCase{"FileNamedAsInner", "/volume1/photo/family", "outer"},
                    OwnerCase{"SamePrefix", "/volume1/photos/a.jpg", "like-outer"},
                    OwnerCase{"Outside", "/volume1/music/a.mp3", ""},
                    OwnerCase{"TheShareItself", "/volume1/photo", ""},
                    OwnerCase{"Nothing", "", ""}),
    CaseName());

TEST(ShareOfRootTest, HoldsEverything) {
  vexaplatform::Settings settings = NestedShares();
  settings.shares.push_back({"all", "/", false});
  EXPECT_EQ(ShareOf(settings, "/etc/a.jpg")->name, "all");
  EXPECT_EQ(ShareOf(settings, "/volume1/photo/a.jpg")->name, "outer");
}

TEST(FindShareTest, GoesByTheExactName) {
  const vexaplatform::Settings settings = NestedShares();
  EXPECT_EQ(FindShare(settings, "inner")->path, "/volume1/photo/family");
  EXPECT_EQ(FindShare(settings, "Inner"), nullptr);
  EXPECT_EQ(FindShare(settings, ""), nullptr);
  EXPECT_EQ(FindShare(settings, "inner/"), nullptr);
}

// As a confined service may find it.
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

TEST_F(SharePathsTest, WithoutOpenat2IsAFaultOfTheMachineNotAMissingFile) {
  EXPECT_EXIT(
      {
        if (!TakeOpenat2Away()) _exit(1);
        try {
          FindInShare(share_, "a.jpg");
        } catch (const std::system_error& error) {
          _exit(error.code() == std::errc::function_not_supported ? 0 : 2);
        }
        _exit(3);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vexathumb::service
