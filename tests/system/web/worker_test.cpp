// How the program is started and ended: as CGI, with a socket that systemd passes, by signals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"
#include "system/web/processes.h"
#include "system/web/tool_control.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Cgi : public testing::Test {
 protected:
  Cgi() {
    std::filesystem::create_directory(folder_ / "photos");
    kit::WritePng(folder_ / "photos/a b.png", {{60, 40}});
    kit::WriteFile(folder_ / "platform.ini", "[share photos]\npath = " + (folder_ / "photos") +
                                                 "\n[service]\nlock_dir = " + (folder_ / "lock") +
                                                 "\n");
  }

  std::string Answer(const std::string& address, const std::string& script = "") const {
    return kit::RunTool({"/usr/bin/env", "-i", "VEXATHUMB_CONFIG=" + (folder_ / "platform.ini"),
                         "GATEWAY_INTERFACE=CGI/1.1", "REQUEST_METHOD=GET", "SCRIPT_NAME=" + script,
                         "REQUEST_URI=" + script + address, "/bin/sh", "-c", "exec \"$0\" 2>\"$1\"",
                         VEXATHUMB_WEB, folder_ / "errors"});
  }

  kit::TempDir folder_;
};

TEST_F(Cgi, AnswersOneRequest) {
  const std::string answer = Answer("/thumb/photos/a%20b.png?size=small");
  EXPECT_THAT(answer, StartsWith("Cache-Control: max-age=300, must-revalidate\r\n"));
  EXPECT_THAT(answer, HasSubstr("\r\nContent-Type: image/png\r\n"));
  kit::WriteFile(folder_ / "answer", answer.substr(answer.find("\r\n\r\n") + 4));
  EXPECT_EQ(kit::Corners(folder_ / "answer"), kit::kPictureCorners);
}

TEST_F(Cgi, BeginsAProblemWithItsStatus) {
  EXPECT_THAT(Answer("/thumb/photos/missing.png?size=small"),
              StartsWith("Status: 404 Not Found\r\n"));
}

TEST_F(Cgi, GivesAddressesBelowItsOwn) {
  EXPECT_THAT(Answer("/album/photos/", "/cgi-bin/vexathumb-web"),
              HasSubstr("\"/cgi-bin/vexathumb-web/thumb/photos/a%20b.png\""));
  EXPECT_THAT(Answer("/album/", "/cgi-bin/vexathumb-web"),
              HasSubstr("\"/cgi-bin/vexathumb-web/album/photos/\""));
}

TEST_F(Cgi, WritesNothingAboutADamagedPictureIntoTheServersLog) {
  // A directory of 61084 entries.
  kit::WriteFile(folder_ / "photos/damaged.tif",
                 std::string("II*\0\x08\0\0\0\x9c\xee", 10) + std::string(100, '\0'));
  EXPECT_THAT(Answer("/album/photos/"), HasSubstr("damaged.tif"));
  EXPECT_EQ(kit::ReadFile(folder_ / "errors"), "");
}

TEST(Program, TellsWhatItIsWhenNoWebServerStartsIt) {
  try {
    kit::RunTool({"/usr/bin/env", "-i", VEXATHUMB_WEB});
    FAIL() << "no failure";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("started by a web server"));
  }
}

TEST(Worker, TakesTheSocketThatSystemdPasses) {
  SiteOptions options;
  options.server = WebServer::kNginx;
  options.is_socket_passed = true;
  const WebSite site(options);
  kit::WritePng(site.Photo("a.png"), {{60, 40}});
  EXPECT_EQ(site.Get("/thumb/photos/a.png?size=small").status, 200);
}

TEST(Worker, FinishesItsRequestWhenItIsToEnd) {
  SiteOptions options;
  options.server = WebServer::kNginx;
  options.workers = 1;
  ToolControl tools;
  options.environment = tools.Environment();
  const WebSite site(options);
  kit::WriteJpeg(site.Photo("photo.jpg"));
  tools.Hold();
  HttpResponse response;
  std::thread client([&] { response = site.Get("/thumb/photos/photo.jpg?size=small"); });
  EXPECT_TRUE(Eventually([&] { return tools.RunsFor("photo.jpg") > 0; }));
  kill(site.Workers()[0], SIGTERM);
  tools.Release();
  client.join();
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(response.is_whole);
}

TEST(Worker, KeepsWhatTheRequestSaysFromTheTools) {
  SiteOptions options;
  options.server = WebServer::kNginx;
  options.workers = 1;
  ToolControl tools;
  options.environment = tools.Environment();
  const WebSite site(options);
  kit::WriteJpeg(site.Photo("photo.jpg"));
  site.Get("/thumb/photos/photo.jpg?size=small", {"GET", {"Proxy: http://evil.example/"}});
  EXPECT_THAT(tools.EnvironmentOfLastRun(), HasSubstr("VEXATHUMB_CONFIG="));
  EXPECT_THAT(tools.EnvironmentOfLastRun(), testing::Not(HasSubstr("HTTP_")));
  EXPECT_THAT(tools.EnvironmentOfLastRun(), testing::Not(HasSubstr("REQUEST_URI")));
}

// The script that ./run ends with.
TEST(Serving, OfAFolderEndsWithoutATrace) {
  const kit::TempDir folder;
  const std::string album = folder / "my [odd]; \"album\"#";
  std::filesystem::create_directories({album});
  std::filesystem::create_directory(folder / "tmp");
  kit::WritePng(album + "/a.png", {{60, 40}});
  const std::string port = std::to_string(FreePort());
  const pid_t serving = StartProgram(
      {"/usr/bin/env", "TMPDIR=" + (folder / "tmp"), SCRIPTS "/serve", album, port, VEXATHUMB_WEB});
  const std::string site = "http://127.0.0.1:" + port;
  EXPECT_TRUE(Eventually([&] { return Ask(site + "/health").status == 200; }));
  const std::string share = "/my%20_odd__%20%22album%22/";
  EXPECT_THAT(Ask(site + "/album/").body, HasSubstr("/album" + share));
  EXPECT_EQ(Ask(site + "/thumb" + share + "a.png?size=small").status, 200);
  const std::vector<Process> started = ProcessesBelow(serving);
  EXPECT_GT(started.size(), 1U);

  EndProgram(serving);
  EXPECT_EQ(Ask(site + "/health").status, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "tmp"));
  for (const Process& process : started) {
    const std::string link = "/proc/" + std::to_string(process.pid) + "/exe";
    EXPECT_FALSE(std::filesystem::exists(link)) << process.pid;
  }
}

}  // namespace
}  // namespace vexathumb::web_test
