#include "vexaplatform/http_delivery.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "http/http_file_responder.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/http/entity_tag.h"
#include "unit/platform/http/http_exchange.h"
#include "unit/platform/scoped_settings.h"

namespace vexaplatform {
namespace {

// A file that is there on every machine and has not changed for a while.
constexpr char kOldFile[] = "/bin/sh";

std::string TagOf(const char* file) {
  struct stat status {};
  EXPECT_EQ(stat(file, &status), 0);
  return EntityTag(status);
}

std::string Send(const char* file) {
  const Received received =
      ThroughPipe([file] { return HttpFileResponder().Output(file, "image/jpeg"); });
  EXPECT_EQ(received.result, 0);
  return received.text;
}

class Delivery : public testing::Test {
 protected:
  ScopedSettings settings_{"[http]\ndelivery = x-sendfile\n"};
};

TEST_F(Delivery, ByTheWebServerNamesTheFile) {
  EXPECT_TRUE(WouldOffload(kOldFile));
  const std::string response = Send(kOldFile);
  EXPECT_EQ(HeaderOf(response, "X-Sendfile"), "/bin/sh");
  EXPECT_EQ(HeaderOf(response, "Content-Type"), "image/jpeg");
  EXPECT_EQ(HeaderOf(response, "ETag"), TagOf(kOldFile));
  EXPECT_NE(HeaderOf(response, "Last-Modified"), "");
  EXPECT_EQ(HeaderOf(response, "Content-Disposition"), "inline; filename=\"sh\"");
  EXPECT_EQ(HeaderOf(response, "X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(HeaderOf(response, "Content-Length"), "");
  EXPECT_EQ(BodyOf(response), "late");
}

TEST_F(Delivery, ByTheWebServerFollowsTheMap) {
  settings_.Write("[http]\ndelivery = x-accel-redirect\nmap = /bin = /tools\n");
  EXPECT_TRUE(WouldOffload(kOldFile));
  EXPECT_EQ(HeaderOf(Send(kOldFile), "X-Accel-Redirect"), "/tools/sh");
  settings_.Write("[http]\ndelivery = x-accel-redirect\nmap = /srv = /tools\n");
  EXPECT_FALSE(WouldOffload(kOldFile));
  EXPECT_EQ(HeaderOf(Send(kOldFile), "X-Accel-Redirect"), "");
}

TEST_F(Delivery, LeavesHeadAndRangesToTheWebServer) {
  for (const RequestVariables& variables : {RequestVariables{{"REQUEST_METHOD", "HEAD"}},
                                            RequestVariables{{"HTTP_RANGE", "bytes=1-2"}}}) {
    const ScopedRequest request(variables);
    const std::string response = Send(kOldFile);
    EXPECT_EQ(HeaderOf(response, "Status"), "");
    EXPECT_EQ(HeaderOf(response, "X-Sendfile"), "/bin/sh");
  }
}

struct Refusal {
  const char* name;
  RequestVariables variables;
  const char* status;
};

class DeliveryOfNothing : public Delivery, public testing::WithParamInterface<Refusal> {};

TEST_P(DeliveryOfNothing, IsAnsweredHere) {
  RequestVariables variables = GetParam().variables;
  for (auto& [name, value] : variables) {
    if (value == "{tag}") value = TagOf(kOldFile);
  }
  const ScopedRequest request(variables);
  const std::string response = Send(kOldFile);
  EXPECT_EQ(HeaderOf(response, "Status"), GetParam().status);
  EXPECT_EQ(HeaderOf(response, "X-Sendfile"), "");
  EXPECT_EQ(BodyOf(response), "late");
}

INSTANTIATE_TEST_SUITE_P(
    , DeliveryOfNothing,
    testing::Values(Refusal{"NotModified", {{"HTTP_IF_NONE_MATCH", "{tag}"}}, "304 Not Modified"},
                    Refusal{"Failed", {{"HTTP_IF_MATCH", "\"x\""}}, "412 Precondition Failed"},
                    Refusal{"Unsatisfiable",
                            {{"HTTP_RANGE", "bytes=99999999999-"}},
                            "416 Range Not Satisfiable"}),
    vexathumb::kit::CaseName());

TEST_F(Delivery, OfAFileThatJustChangedIsFromHere) {
  const vexathumb::kit::TempDir folder;
  vexathumb::kit::WriteFile(folder / "a.jpg", "body");
  EXPECT_FALSE(WouldOffload((folder / "a.jpg").c_str()));
  EXPECT_EQ(BodyOf(Send((folder / "a.jpg").c_str())), "bodylate");
}

TEST_F(Delivery, FromHereSendsTheBytes) {
  const Received received = ThroughPipe([] { return SendFileFromHere(kOldFile, "image/jpeg"); });
  EXPECT_EQ(received.result, 0);
  EXPECT_EQ(HeaderOf(received.text, "X-Sendfile"), "");
  EXPECT_TRUE(BodyOf(received.text) == vexathumb::kit::ReadFile(kOldFile) + "late");
}

TEST_F(Delivery, FromHereAnswersConditions) {
  const ScopedRequest request(RequestVariables{{"HTTP_IF_NONE_MATCH", TagOf(kOldFile)}});
  const Received received = ThroughPipe([] { return SendFileFromHere(kOldFile, "image/jpeg"); });
  EXPECT_EQ(HeaderOf(received.text, "Status"), "304 Not Modified");
}

TEST_F(Delivery, OfWhatIsNoFileIsARefusal) {
  for (const char* path : {"/bin", "/dev/null", "/nonexistent"}) {
    EXPECT_FALSE(WouldOffload(path)) << path;
    const Received received = ThroughPipe([path] { return SendFileFromHere(path, "image/jpeg"); });
    EXPECT_NE(received.result, 0) << path;
    EXPECT_EQ(received.text, "Cache-Control: early\r\nlate") << path;
  }
  EXPECT_FALSE(WouldOffload(nullptr));
}

TEST(NoDelivery, ByTheWebServerIsTheDefault) {
  const ScopedSettings settings("");
  EXPECT_FALSE(WouldOffload(kOldFile));
  EXPECT_EQ(HeaderOf(Send(kOldFile), "X-Sendfile"), "");
}

}  // namespace
}  // namespace vexaplatform
