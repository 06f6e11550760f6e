#include "platform/http/offload.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"

namespace vexaplatform {
namespace {

constexpr time_t kNow = 1'700'000'000;
constexpr char kHere[] = "here";  // sent by this process

struct stat FileThatChanged(time_t seconds_ago) {
  struct stat file {};
  file.st_ctim.tv_sec = kNow - seconds_ago;
  return file;
}

std::string TextOf(const std::optional<Header>& header) {
  return header.has_value() ? header->name + ": " + header->value : kHere;
}

HttpSettings Delivering(HttpDelivery delivery) {
  HttpSettings settings;
  settings.delivery = delivery;
  settings.map = {{"/srv", "/files"}, {"/srv/photo", "/photo"}, {"/data/a b", "/data"}};
  return settings;
}

struct Path {
  const char* name;
  HttpDelivery delivery;
  std::string path;
  std::string header;
};

class Offload : public testing::TestWithParam<Path> {};

TEST_P(Offload, OfThePath) {
  EXPECT_EQ(TextOf(OffloadHeader(Delivering(GetParam().delivery), HttpRequest(), GetParam().path,
                                 FileThatChanged(60), kNow)),
            GetParam().header);
}

INSTANTIATE_TEST_SUITE_P(
    BySendfile, Offload,
    testing::Values(
        Path{"Plain", HttpDelivery::kXSendfile, "/srv/a-b_c.~1.jpg",
             "X-Sendfile: /srv/a-b_c.~1.jpg"},
        Path{"Blank", HttpDelivery::kXSendfile, "/srv/a b.jpg", "X-Sendfile: /srv/a%20b.jpg"},
        Path{"Percent", HttpDelivery::kXSendfile, "/srv/a%41", "X-Sendfile: /srv/a%2541"},
        Path{"Utf8", HttpDelivery::kXSendfile, "/srv/\xc3\xbc", "X-Sendfile: /srv/%C3%BC"},
        Path{"Special", HttpDelivery::kXSendfile, "/?#+;&=\"\\*",
             "X-Sendfile: /%3F%23%2B%3B%26%3D%22%5C%2A"},
        Path{"DotsInAName", HttpDelivery::kXSendfile, "/.a/..b/c..", "X-Sendfile: /.a/..b/c.."},
        Path{"Lines", HttpDelivery::kXSendfile, "/srv/a\r\nX: b", kHere},
        Path{"Control", HttpDelivery::kXSendfile, "/srv/a\x01", kHere},
        Path{"Delete", HttpDelivery::kXSendfile, "/srv/a\x7f", kHere},
        Path{"Latin1", HttpDelivery::kXSendfile, "/srv/\xfc", kHere},
        Path{"Relative", HttpDelivery::kXSendfile, "srv/a", kHere},
        Path{"Empty", HttpDelivery::kXSendfile, "", kHere},
        Path{"Up", HttpDelivery::kXSendfile, "/srv/../a", kHere},
        Path{"UpAtTheEnd", HttpDelivery::kXSendfile, "/srv/..", kHere},
        Path{"Here", HttpDelivery::kXSendfile, "/srv/./a", kHere},
        Path{"TwoSlashes", HttpDelivery::kXSendfile, "/srv//a", kHere}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    ByAccelRedirect, Offload,
    testing::Values(Path{"Mapped", HttpDelivery::kXAccelRedirect, "/srv/a/b.jpg",
                         "X-Accel-Redirect: /files/a/b.jpg"},
                    Path{"NearestFolder", HttpDelivery::kXAccelRedirect, "/srv/photo/b.jpg",
                         "X-Accel-Redirect: /photo/b.jpg"},
                    Path{"FolderWithALongerName", HttpDelivery::kXAccelRedirect,
                         "/srv/photos/b.jpg", "X-Accel-Redirect: /files/photos/b.jpg"},
                    Path{"FolderWithABlank", HttpDelivery::kXAccelRedirect, "/data/a b/c d",
                         "X-Accel-Redirect: /data/c%20d"},
                    Path{"NotMapped", HttpDelivery::kXAccelRedirect, "/var/tmp/a", kHere},
                    Path{"NotMappedByHalfAName", HttpDelivery::kXAccelRedirect, "/srvx/a", kHere},
                    Path{"Lines", HttpDelivery::kXAccelRedirect, "/srv/a\r\nX: b",
                         "X-Accel-Redirect: /files/a%0D%0AX%3A%20b"},
                    Path{"Latin1", HttpDelivery::kXAccelRedirect, "/srv/\xfc",
                         "X-Accel-Redirect: /files/%FC"},
                    Path{"Query", HttpDelivery::kXAccelRedirect, "/srv/a?b#c",
                         "X-Accel-Redirect: /files/a%3Fb%23c"},
                    Path{"Up", HttpDelivery::kXAccelRedirect, "/srv/../etc/passwd", kHere}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(Otherwise, Offload,
                         testing::Values(Path{"Self", HttpDelivery::kSelf, "/srv/a", kHere}),
                         vexathumb::kit::CaseName());

TEST(Offload, ToTheRootsMapping) {
  HttpSettings settings;
  settings.delivery = HttpDelivery::kXAccelRedirect;
  settings.map = {{"/", "/all"}};
  EXPECT_EQ(TextOf(OffloadHeader(settings, HttpRequest(), "/a/b", FileThatChanged(60), kNow)),
            "X-Accel-Redirect: /all/a/b");
  settings.map = {{"/a", "/"}};
  EXPECT_EQ(TextOf(OffloadHeader(settings, HttpRequest(), "/a/b", FileThatChanged(60), kNow)),
            "X-Accel-Redirect: /b");
}

struct Age {
  const char* name;
  time_t seconds;
  bool is_handed_over;
};

class OffloadOfAFile : public testing::TestWithParam<Age> {};

TEST_P(OffloadOfAFile, ThatChanged) {
  EXPECT_EQ(OffloadHeader(Delivering(HttpDelivery::kXSendfile), HttpRequest(), "/srv/a",
                          FileThatChanged(GetParam().seconds), kNow)
                .has_value(),
            GetParam().is_handed_over);
}

INSTANTIATE_TEST_SUITE_P(, OffloadOfAFile,
                         testing::Values(Age{"Now", 0, false}, Age{"AMomentAgo", 4, false},
                                         Age{"AWhileAgo", 5, true}, Age{"InTheFuture", -10, false}),
                         vexathumb::kit::CaseName());

struct Conditions {
  const char* name;
  HttpRequest request;
  bool is_handed_over;
};

HttpRequest With(std::string HttpRequest::*header, const std::string& value) {
  HttpRequest request;
  request.*header = value;
  return request;
}

HttpRequest WithBothNewsConditions() {
  HttpRequest request = With(&HttpRequest::if_none_match, "\"x\"");
  request.if_modified_since = "Sun, 06 Nov 1994 08:49:37 GMT";
  return request;
}

class OffloadForARequest : public testing::TestWithParam<Conditions> {};

TEST_P(OffloadForARequest, With) {
  EXPECT_EQ(OffloadHeader(Delivering(HttpDelivery::kXSendfile), GetParam().request, "/srv/a",
                          FileThatChanged(60), kNow)
                .has_value(),
            GetParam().is_handed_over);
}

INSTANTIATE_TEST_SUITE_P(
    , OffloadForARequest,
    testing::Values(
        Conditions{"None", HttpRequest(), true},
        Conditions{"Head", With(&HttpRequest::method, "HEAD"), true},
        Conditions{"Range", With(&HttpRequest::range, "bytes=0-1"), true},
        Conditions{"IfNoneMatch", With(&HttpRequest::if_none_match, "\"x\""), true},
        Conditions{"IfNoneMatchAndModifiedSince", WithBothNewsConditions(), true},
        Conditions{"IfModifiedSince",
                   With(&HttpRequest::if_modified_since, "Sun, 06 Nov 2094 08:49:37 GMT"), false},
        Conditions{"IfMatch", With(&HttpRequest::if_match, "*"), false},
        Conditions{"IfUnmodifiedSince", With(&HttpRequest::if_unmodified_since, "x"), false},
        Conditions{"IfRange", With(&HttpRequest::if_range, "\"x\""), false}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
