// Run in a container that was set up by docs/serve-behind-nginx.md and deploy/README.md: nginx on
// port 80 before workers that systemd starts, lighttpd on port 8080 with workers of its own, both
// with the share /srv/photo.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/landlock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"
#include "service/store/build_slot.h"
#include "system/web/http_client.h"
#include "system/web/processes.h"

namespace vexathumb::web_test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr char kNginx[] = "http://127.0.0.1";
constexpr char kLighttpd[] = "http://127.0.0.1:8080";
constexpr char kSocketUnit[] = "vexathumb-web.socket";
constexpr char kSocket[] = "/run/vexathumb/web.sock";
constexpr int kWorkerCount = 12;

std::string Worker(int number) { return "vexathumb-web@" + std::to_string(number) + ".service"; }

std::vector<std::string> Workers() {
  std::vector<std::string> workers;
  for (int number = 1; number <= kWorkerCount; ++number) workers.push_back(Worker(number));
  return workers;
}

std::string Systemctl(const std::vector<std::string>& words,
                      const std::vector<std::string>& units = {}) {
  std::vector<std::string> argv = {"/usr/bin/systemctl"};
  argv.insert(argv.end(), words.begin(), words.end());
  argv.insert(argv.end(), units.begin(), units.end());
  return kit::RunTool(argv);
}

// 0 while it is not running.
pid_t ProcessOf(const std::string& unit) {
  return std::stoi(Systemctl({"show", "--value", "--property=MainPID", unit}));
}

std::string ProcFile(pid_t process, const std::string& name) {
  return "/proc/" + std::to_string(process) + "/" + name;
}

std::string User(const std::string& name) {
  std::string id = kit::RunTool({"/usr/bin/id", "-u", name});
  id.erase(id.find('\n'));
  return id;
}

// The command lines of a user's processes.
std::vector<std::string> ProcessesOf(const std::string& user) {
  std::vector<std::string> commands;
  const uid_t uid = static_cast<uid_t>(std::stoul(User(user)));
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    struct stat st = {};
    if (stat(entry.path().c_str(), &st) != 0 || st.st_uid != uid) continue;
    std::ifstream file(entry.path() / "comm");
    std::string name;
    if (std::getline(file, name)) commands.push_back(name);
  }
  return commands;
}

// Whether this machine's root may write there in the file system as the process sees it.
bool IsWritableFor(pid_t process, const std::string& folder) {
  const std::string probe = folder + "/probe";
  try {
    kit::RunTool({"/usr/bin/nsenter", "--target", std::to_string(process), "--mount",
                  "/usr/bin/touch", probe});
    kit::RunTool(
        {"/usr/bin/nsenter", "--target", std::to_string(process), "--mount", "/usr/bin/rm", probe});
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

// A limit of the process's control group, by its name in the first or the second version.
std::string Limit(pid_t process, const std::string& controller, const std::string& first,
                  const std::string& second) {
  const std::string second_version = "0::";
  const std::string first_version = ":" + controller + ":";
  std::ifstream groups(ProcFile(process, "cgroup"));
  for (std::string line; std::getline(groups, line);) {
    std::string file;
    if (line.rfind(second_version, 0) == 0) {
      file = "/sys/fs/cgroup" + line.substr(second_version.size()) + "/" + second;
    } else if (const size_t name = line.find(first_version); name != std::string::npos) {
      file =
          "/sys/fs/cgroup/" + controller + line.substr(name + first_version.size()) + "/" + first;
    }
    if (!std::filesystem::exists(file)) continue;
    const std::string value = kit::ReadFile(file);
    return value.substr(0, value.find('\n'));
  }
  return "";
}

void GiveToTheService(const std::string& path) {
  kit::RunTool({"/usr/bin/chown", "-R", "vexathumb:vexathumb", path});
}

void WritePhoto(const std::string& name) {
  kit::JpegOptions options;
  options.size = {1600, 1200};
  kit::WriteJpeg("/srv/photo/" + name, options);
  GiveToTheService("/srv/photo/" + name);
}

bool IsHealthy(const std::string& site) { return Ask(site + "/health").status == 200; }

class Deployment : public testing::Test {
 protected:
  // One for each library and tool.
  static void SetUpTestSuite() {
    const std::string folder = "/srv/photo/sample/";
    std::filesystem::create_directory(folder);
    kit::JpegOptions photo;
    photo.size = {1600, 1200};
    kit::WriteJpeg(folder + "upright.jpg", photo);
    photo.orientation = 6;
    kit::WriteJpeg(folder + "sideways.jpg", photo);
    photo.exif_thumbnail = kit::Size{160, 120};
    kit::WriteJpeg(folder + "preview.jpg", photo);
    kit::WritePng(folder + "window.png");
    kit::WriteTiff(folder + "scan.tif");
    kit::WriteWebp(folder + "web.webp");
    kit::WriteAnimatedGif(folder + "moving.gif");
    kit::WriteHeic(folder + "phone.heic");
    kit::WriteDng(folder + "raw.dng");
    GiveToTheService(folder);
  }

  static std::vector<std::string> SampleAddresses(const std::string& site) {
    const json listing = json::parse(Ask(site + "/album/photo/sample/").body);
    std::vector<std::string> addresses;
    for (const json& entry : listing.at("entries")) addresses.push_back(entry.at("href"));
    return addresses;
  }

  static void ExpectPicture(const std::string& url) {
    const HttpResponse response = Ask(url);
    ASSERT_EQ(response.status, 200) << url << "\n" << response.body;
    const kit::TempDir folder;
    kit::WriteFile(folder / "answer", response.body);
    EXPECT_GT(kit::Examine(folder / "answer").width, 0) << url;
  }
};

TEST_F(Deployment, BuildsThumbnailsOfAllKindsWithinItsConfinement) {
  for (const auto& [site, sizes] :
       {std::pair(kNginx, std::vector<std::string>{"size=small", "side=90&avatar=1"}),
        std::pair(kLighttpd, std::vector<std::string>{"size=medium", "box=90x60&gif=1"})}) {
    const auto addresses = SampleAddresses(site);
    EXPECT_EQ(addresses.size(), 9U);
    for (const std::string& address : addresses) {
      for (const std::string& size : sizes) ExpectPicture(site + address + "?" + size);
    }
  }
  EXPECT_TRUE(
      std::filesystem::exists("/srv/photo/sample/.vexaea/sideways.jpg/VEXAFILE_THUMB_S_r1.jpg"));
}

// What a worker would find, by its own unit with the doctor in the program's place.
TEST_F(Deployment, LeavesToolsTheirOwnConfinement) {
  std::string unit = kit::ReadFile("/etc/systemd/system/vexathumb-web@.service");
  unit = std::regex_replace(unit, std::regex("\n(Requires|After|Sockets|Restart|ExecStart)=[^\n]*"),
                            "");
  unit = std::regex_replace(unit, std::regex("\n\\[Service\\]\n"),
                            "\n[Service]\nType=oneshot\nStandardOutput=file:/run/findings\n"
                            "ExecStart=-/usr/local/bin/vexathumb doctor /srv/photo\n");
  kit::WriteFile("/etc/systemd/system/vexathumb-doctor@.service", unit);
  Systemctl({"daemon-reload"});
  Systemctl({"start", "vexathumb-doctor@1.service"});
  const std::string findings = kit::ReadFile("/run/findings");
  for (const char* sound :
       {"ok    seccomp: ", "ok    tool policy: ", "ok    aliases: ", "ok    /usr/bin/convert: "}) {
    EXPECT_THAT(findings, HasSubstr(sound));
  }
  // A container may lack Landlock, but not the unit where the container has it.
  const bool has_landlock =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) > 0;
  EXPECT_THAT(findings, HasSubstr(has_landlock ? "ok    Landlock: version " : "warn  Landlock: "));
  for (const char* weakness : {"warn  user: ", "warn  /tmp: "}) {
    EXPECT_THAT(findings, testing::Not(HasSubstr(weakness)));
  }
}

TEST_F(Deployment, RunsWorkersAsTheirOwnUserWithoutAnyRights) {
  for (const pid_t process : {ProcessOf(Worker(1)), ProcessOf("lighttpd.service")}) {
    const std::string status = kit::ReadFile(ProcFile(process, "status"));
    EXPECT_THAT(status, HasSubstr("\nUid:\t" + User("vexathumb") + "\t"));
    EXPECT_THAT(status, HasSubstr("\nNoNewPrivs:\t1\n"));
    EXPECT_THAT(status, HasSubstr("\nSeccomp:\t2\n"));
  }
  EXPECT_THAT(kit::ReadFile(ProcFile(ProcessOf(Worker(1)), "status")),
              HasSubstr("\nCapBnd:\t0000000000000000\n"));
}

TEST_F(Deployment, LetsWorkersWriteWhereTheyStoreAndNowhereElse) {
  for (const pid_t process : {ProcessOf(Worker(1)), ProcessOf("lighttpd.service")}) {
    for (const char* folder :
         {"/srv/photo", "/run/lock/vexathumb", "/var/lib/vexathumb", "/tmp", "/var/tmp"}) {
      EXPECT_TRUE(IsWritableFor(process, folder)) << folder;
    }
    for (const char* folder : {"/srv", "/etc", "/usr/local", "/var/lib", "/home", "/root"}) {
      EXPECT_FALSE(IsWritableFor(process, folder)) << folder;
    }
  }
}

TEST_F(Deployment, KeepsTemporaryFilesAndTheNetworkFromWorkers) {
  std::set<ino_t> folders;
  for (const std::string& worker : Workers()) {
    struct stat st = {};
    EXPECT_EQ(stat(ProcFile(ProcessOf(worker), "root/var/tmp").c_str(), &st), 0);
    folders.insert(st.st_ino);
    EXPECT_NE(std::filesystem::read_symlink(ProcFile(ProcessOf(worker), "ns/net")),
              std::filesystem::read_symlink("/proc/self/ns/net"));
  }
  struct stat ours = {};
  EXPECT_EQ(stat("/var/tmp", &ours), 0);
  EXPECT_EQ(folders.size(), 1U);
  EXPECT_EQ(folders.count(ours.st_ino), 0U);
}

TEST_F(Deployment, LimitsWhatAWorkerAndItsToolsMayTake) {
  const pid_t worker = ProcessOf(Worker(1));
  EXPECT_EQ(Limit(worker, "memory", "memory.limit_in_bytes", "memory.max"),
            std::to_string(1536LL << 20));
  EXPECT_EQ(Limit(worker, "pids", "pids.max", "pids.max"), "32");
}

TEST_F(Deployment, LetsNginxSendWhatIsStored) {
  ExpectPicture(std::string(kNginx) + "/thumb/photo/sample/sideways.jpg?size=small");
  const std::string stored = "/srv/photo/sample/.vexaea/sideways.jpg/VEXAFILE_THUMB_S_r1.jpg";
  const HttpResponse response =
      Ask(std::string(kNginx) + "/thumb/photo/sample/sideways.jpg?size=small");
  EXPECT_TRUE(response.body == kit::ReadFile(stored));
  EXPECT_EQ(Ask(std::string(kNginx) + "/files/photo/sample/sideways.jpg").status, 404);
}

TEST_F(Deployment, ShowsTheAlbumPage) {
  for (const std::string site : {kNginx, kLighttpd}) {
    EXPECT_EQ(Ask(site + "/").body, kit::ReadFile("/usr/local/share/vexathumb/web/index.html"));
  }
}

// More often than systemd would let a unit restart by itself.
TEST_F(Deployment, BringsAWorkerBackHoweverOftenItDies) {
  constexpr int kTimes = 7;
  for (int time = 0; time < kTimes; ++time) {
    const pid_t worker = ProcessOf(Worker(2));
    ASSERT_GT(worker, 0);
    kill(worker, SIGKILL);
    EXPECT_TRUE(Eventually([worker] {
      const pid_t next = ProcessOf(Worker(2));
      return next != 0 && next != worker;
    }));
  }
  EXPECT_TRUE(IsHealthy(kNginx));
}

TEST_F(Deployment, StartsAWorkerForTheFirstRequest) {
  Systemctl({"stop"}, Workers());
  EXPECT_EQ(ProcessOf(Worker(1)), 0);
  EXPECT_TRUE(IsHealthy(kNginx));
  EXPECT_GT(ProcessOf(Worker(1)), 0);
  Systemctl({"start"}, Workers());
}

// The workers' own.
std::string Locks() { return "/run/lock/vexathumb/user." + User("vexathumb"); }

// What a worker locks while it waits for whoever builds for the same photo.
std::vector<std::string> PlacesOfWaitingWorkers() {
  std::vector<std::string> places;
  for (const auto& entry : std::filesystem::directory_iterator(Locks())) {
    const bool is_place = entry.path().filename().string().rfind("waiting-worker.", 0) == 0;
    if (is_place) places.push_back(entry.path());
  }
  return places;
}

TEST_F(Deployment, FinishesRequestsBeforeItStops) {
  WritePhoto("last.jpg");
  for (const std::string& place : PlacesOfWaitingWorkers()) std::filesystem::remove(place);
  // The request is held in the middle by a lock that it needs.
  auto lock = std::make_optional<service::SourceLock>(Locks(), "/srv/photo/last.jpg");
  kit::RunTool({"/bin/chown", "-R", "vexathumb", Locks()});
  HttpResponse response;
  std::thread client(
      [&response] { response = Ask(std::string(kNginx) + "/thumb/photo/last.jpg?size=small"); });
  EXPECT_TRUE(Eventually([] { return !PlacesOfWaitingWorkers().empty(); }));
  Systemctl({"stop", "--no-block", kSocketUnit}, Workers());
  // The others have nothing to finish.
  EXPECT_TRUE(Eventually([] {
    int running = 0;
    for (const std::string& worker : Workers()) running += ProcessOf(worker) != 0 ? 1 : 0;
    return running == 1;
  }));
  lock.reset();
  client.join();
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(response.is_whole);
  Systemctl({"start", kSocketUnit}, Workers());
  EXPECT_TRUE(IsHealthy(kNginx));
}

TEST_F(Deployment, LeavesNothingRunningWhenItIsStopped) {
  Systemctl({"stop", kSocketUnit, "lighttpd.service"}, Workers());
  EXPECT_TRUE(Eventually([] { return ProcessesOf("vexathumb").empty(); }))
      << testing::PrintToString(ProcessesOf("vexathumb"));
  EXPECT_FALSE(std::filesystem::exists(kSocket));
  Systemctl({"start", kSocketUnit, "lighttpd.service"}, Workers());
  EXPECT_TRUE(Eventually([] { return IsHealthy(kNginx) && IsHealthy(kLighttpd); }));
}

TEST_F(Deployment, IsMadeOfUnitsWithoutFaults) {
  EXPECT_NO_THROW(kit::RunTool(
      {"/usr/bin/systemd-analyze", "verify", "--man=no", "vexathumb-web.socket", Worker(1)}));
}

}  // namespace
}  // namespace vexathumb::web_test
