#include "programs/vexathumb-web/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kit/case_name.h"
#include "programs/vexathumb-web/problem.h"

namespace vexathumb::web {
namespace {

Request Read(std::vector<std::string> variables) {
  std::vector<char*> entries;
  for (std::string& variable : variables) entries.push_back(variable.data());
  entries.push_back(nullptr);
  return ReadRequest(entries.data());
}

TEST(RequestFor, TellsForWhichHostsItIs) {
  EXPECT_THAT(Read({"REQUEST_URI=/album"}).hosts, testing::IsEmpty());
  EXPECT_THAT(Read({"REQUEST_URI=/album", "HTTP_HOST=one:80"}).hosts,
              testing::ElementsAre("one:80"));
  EXPECT_THAT(Read({"REQUEST_URI=http://two:81/album?a=b", "HTTP_HOST=one"}).hosts,
              testing::ElementsAre("one", "two:81"));
}

TEST(RequestFor, TellsWhetherItIsSomebodysOwn) {
  EXPECT_FALSE(Read({"REQUEST_URI=/album", "HTTP_ACCEPT=a", "REMOTE_USER="}).is_personal);
  for (const char* variable :
       {"HTTP_AUTHORIZATION=Basic eDp5", "HTTP_COOKIE=a=b", "AUTH_TYPE=Basic", "REMOTE_USER=me"}) {
    EXPECT_TRUE(Read({"REQUEST_URI=/album", variable}).is_personal) << variable;
  }
}

struct Address {
  const char* name;
  std::string uri;
  Route route;
  std::vector<std::string> path;
  std::string query;
};

class RequestOf : public testing::TestWithParam<Address> {};

TEST_P(RequestOf, AddressIsReadAsSent) {
  const Request request = Read({"REQUEST_METHOD=GET", "REQUEST_URI=" + GetParam().uri});
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.route, GetParam().route);
  EXPECT_EQ(request.path, GetParam().path);
  EXPECT_EQ(request.query, GetParam().query);
  EXPECT_EQ(request.base, "");
}

INSTANTIATE_TEST_SUITE_P(
    , RequestOf,
    testing::Values(
        Address{"Thumbnail", "/thumb/a/b.jpg?size=big", Route::kThumb, {"a", "b.jpg"}, "size=big"},
        Address{"Album", "/album/", Route::kAlbum, {""}, ""},
        Address{"AlbumWithoutSlash", "/album", Route::kAlbum, {}, ""},
        Address{"Health", "/health", Route::kHealth, {}, ""},
        Address{"Metrics", "/metrics", Route::kMetrics, {}, ""},
        Address{
            "EncodedBytes", "/thumb/a%20b/%C3%A9%ff", Route::kThumb, {"a b", "\xc3\xa9\xff"}, ""},
        Address{"DecodedOnce", "/thumb/a/%252e%252e", Route::kThumb, {"a", "%2e%2e"}, ""},
        Address{"DotsStay", "/thumb/a/../../etc", Route::kThumb, {"a", "..", "..", "etc"}, ""},
        Address{"EncodedDotsStay", "/thumb/a/%2e%2E/b", Route::kThumb, {"a", "..", "b"}, ""},
        Address{"EncodedSlashIsNoSeparator", "/thumb/a%2fb", Route::kThumb, {"a/b"}, ""},
        Address{"DoubledSlash", "/thumb//a", Route::kThumb, {"", "a"}, ""},
        Address{"SlashAtTheEnd", "/thumb/a/", Route::kThumb, {"a", ""}, ""},
        Address{"EncodedQuestionMark", "/thumb/a%3Fb?x", Route::kThumb, {"a?b"}, "x"},
        Address{"SecondQuestionMark", "/album/a?x=?", Route::kAlbum, {"a"}, "x=?"},
        Address{"PlusStays", "/thumb/a+b", Route::kThumb, {"a+b"}, ""},
        Address{"WithHost", "http://host:80/thumb/a?q", Route::kThumb, {"a"}, "q"},
        Address{"HostAlone", "http://host", Route::kNone, {}, ""},
        Address{"HostAndQuery", "http://host?q", Route::kNone, {}, "q"},
        Address{"LongerName", "/thumbs/a", Route::kNone, {}, ""},
        Address{"EncodedName", "/%74humb/a", Route::kNone, {}, ""},
        Address{"OtherCase", "/Thumb/a", Route::kNone, {}, ""},
        Address{"SlashBefore", "//thumb/a", Route::kNone, {}, ""},
        Address{"Root", "/", Route::kNone, {}, ""}, Address{"Star", "*", Route::kNone, {}, ""}),
    kit::CaseName());

TEST(Request, LeavesTheProgramsOwnAddressOut) {
  const Request request = Read({"REQUEST_METHOD=HEAD", "SCRIPT_NAME=/cgi-bin/vexathumb-web",
                                "REQUEST_URI=/cgi-bin/vexathumb-web/thumb/a?size=big"});
  EXPECT_TRUE(request.IsHead());
  EXPECT_EQ(request.route, Route::kThumb);
  EXPECT_EQ(request.base, "/cgi-bin/vexathumb-web");
  EXPECT_THAT(request.path, testing::ElementsAre("a"));
  EXPECT_EQ(request.query, "size=big");
}

TEST(Request, DoesNotMistakeARoomForTheProgram) {
  const Request request =
      Read({"REQUEST_METHOD=GET", "SCRIPT_NAME=/thumb", "REQUEST_URI=/thumb/thumb/a"});
  EXPECT_EQ(request.route, Route::kThumb);
  EXPECT_THAT(request.path, testing::ElementsAre("thumb", "a"));
}

struct Refused {
  const char* name;
  std::vector<std::string> variables;
  int status;
};

class RefusedRequest : public testing::TestWithParam<Refused> {};

TEST_P(RefusedRequest, IsAProblem) {
  try {
    Read(GetParam().variables);
    FAIL() << "not refused";
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.status(), GetParam().status);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedRequest,
    testing::Values(Refused{"NoAddress", {"REQUEST_METHOD=GET", "REQUEST_URI_=/"}, 500},
                    Refused{"EmptyAddress", {"REQUEST_METHOD=GET", "REQUEST_URI="}, 500},
                    Refused{"BadEncoding", {"REQUEST_URI=/thumb/a%2"}, 404},
                    Refused{"NullByte", {"REQUEST_URI=/thumb/a%00.jpg"}, 404}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::web
