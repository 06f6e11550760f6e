#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "http/http_file_responder.h"
#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/http/entity_tag.h"
#include "unit/platform/http/http_exchange.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

constexpr char kModified[] = "Tue, 14 Nov 2023 22:13:20 GMT";
constexpr char kSecondBefore[] = "Tue, 14 Nov 2023 22:13:19 GMT";
constexpr char kSecondAfter[] = "Tue, 14 Nov 2023 22:13:21 GMT";
constexpr char kToCome[] = "Fri, 01 Jan 2100 00:00:00 GMT";
constexpr char kTag[] = "{tag}";  // stands for the file's entity tag

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

class ConditionalFile : public testing::Test {
 protected:
  ConditionalFile() {
    for (size_t i = 0; i < body_.size(); ++i) body_[i] = static_cast<char>(i * 7 >> 2U);
    vexathumb::kit::WriteFile(file_, body_);
    const struct timespec times[] = {{0, 0}, {1'700'000'000, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, file_.c_str(), times, 0), 0);
    struct stat status {};
    EXPECT_EQ(stat(file_.c_str(), &status), 0);
    tag_ = EntityTag(status);
  }

  Received Ask(const RequestVariables& variables) const {
    RequestVariables filled;
    for (const auto& [name, value] : variables) filled[name] = Replaced(value, kTag, tag_);
    const ScopedRequest request(filled);
    return ThroughPipe([this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); });
  }

  // What every answer with bytes has behind its first headers.
  std::string FileLines() const {
    return "Last-Modified: " + std::string(kModified) + "\r\nETag: " + tag_ +
           "\r\nAccept-Ranges: bytes\r\nContent-Disposition: inline; filename=\"a.jpg\"\r\n"
           "X-Content-Type-Options: nosniff\r\n\r\n";
  }

  std::string WholeHead() const {
    return "Content-Type: image/jpeg\r\nContent-Length: 2000\r\n" + FileLines();
  }

  std::string NotModified() const {
    return "Status: 304 Not Modified\r\nLast-Modified: " + std::string(kModified) +
           "\r\nETag: " + tag_ + "\r\n\r\n";
  }

  static std::string PreconditionFailed() {
    return "Status: 412 Precondition Failed\r\nCache-Control: no-store\r\n"
           "Content-Length: 0\r\n\r\n";
  }

  static std::string Unsatisfiable() {
    return "Status: 416 Range Not Satisfiable\r\nCache-Control: no-store\r\n"
           "Content-Range: bytes */2000\r\nContent-Length: 0\r\n\r\n";
  }

  std::string Part(size_t first, size_t last) const {
    return "Status: 206 Partial Content\r\nContent-Type: image/jpeg\r\nContent-Range: bytes " +
           std::to_string(first) + "-" + std::to_string(last) +
           "/2000\r\nContent-Length: " + std::to_string(last - first + 1) + "\r\n" + FileLines() +
           body_.substr(first, last - first + 1);
  }

  vexathumb::kit::TempDir folder_;
  std::string file_ = folder_ / "a.jpg";
  std::string body_ = std::string(2000, '\0');
  std::string tag_;
};

enum class Answer { kWhole, kHead, kPart, kNotModified, kFailed, kUnsatisfiable };

struct Request {
  const char* name;
  RequestVariables variables;
  Answer answer;
};

class Conditions : public ConditionalFile, public testing::WithParamInterface<Request> {
 protected:
  std::string Expected() const {
    switch (GetParam().answer) {
      case Answer::kHead:
        return WholeHead();
      case Answer::kPart:  // of "bytes=100-299"
        return Part(100, 299);
      case Answer::kNotModified:
        return NotModified();
      case Answer::kFailed:
        return PreconditionFailed();
      case Answer::kUnsatisfiable:
        return Unsatisfiable();
      case Answer::kWhole:
        break;
    }
    return WholeHead() + body_;
  }
};

TEST_P(Conditions, AreAnsweredByteForByte) {
  const Received received = Ask(GetParam().variables);
  EXPECT_EQ(received.result, 0);
  EXPECT_EQ(received.text, "Cache-Control: early\r\n" + Expected() + "late");
}

INSTANTIATE_TEST_SUITE_P(
    OnNews, Conditions,
    testing::Values(
        Request{"NoVariables", {}, Answer::kWhole},
        Request{"Get", {{"REQUEST_METHOD", "GET"}}, Answer::kWhole},
        Request{"SameTag", {{"HTTP_IF_NONE_MATCH", kTag}}, Answer::kNotModified},
        Request{"WeakTag", {{"HTTP_IF_NONE_MATCH", "W/{tag}"}}, Answer::kNotModified},
        Request{"TagInAList", {{"HTTP_IF_NONE_MATCH", "\"x\", {tag}"}}, Answer::kNotModified},
        Request{"AnyTag", {{"HTTP_IF_NONE_MATCH", "*"}}, Answer::kNotModified},
        Request{"OtherTag", {{"HTTP_IF_NONE_MATCH", "\"x\""}}, Answer::kWhole},
        Request{"EmptyTag", {{"HTTP_IF_NONE_MATCH", ""}}, Answer::kWhole},
        Request{"SameDate", {{"HTTP_IF_MODIFIED_SINCE", kModified}}, Answer::kNotModified},
        Request{"LaterDate", {{"HTTP_IF_MODIFIED_SINCE", kSecondAfter}}, Answer::kNotModified},
        Request{"EarlierDate", {{"HTTP_IF_MODIFIED_SINCE", kSecondBefore}}, Answer::kWhole},
        Request{"Rfc850Date",
                {{"HTTP_IF_MODIFIED_SINCE", "Tuesday, 14-Nov-23 22:13:20 GMT"}},
                Answer::kNotModified},
        Request{"AsctimeDate",
                {{"HTTP_IF_MODIFIED_SINCE", "Tue Nov 14 22:13:20 2023"}},
                Answer::kNotModified},
        Request{"DateToCome", {{"HTTP_IF_MODIFIED_SINCE", kToCome}}, Answer::kWhole},
        Request{"NoDate", {{"HTTP_IF_MODIFIED_SINCE", "yesterday"}}, Answer::kWhole},
        Request{"OtherTagBeforeSameDate",
                {{"HTTP_IF_NONE_MATCH", "\"x\""}, {"HTTP_IF_MODIFIED_SINCE", kModified}},
                Answer::kWhole},
        Request{"SameTagBeforeEarlierDate",
                {{"HTTP_IF_NONE_MATCH", kTag}, {"HTTP_IF_MODIFIED_SINCE", kSecondBefore}},
                Answer::kNotModified},
        Request{"BeforeRange",
                {{"HTTP_IF_NONE_MATCH", kTag}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kNotModified},
        Request{"BeforeUnsatisfiableRange",
                {{"HTTP_IF_NONE_MATCH", kTag}, {"HTTP_RANGE", "bytes=5000-"}},
                Answer::kNotModified}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    OnTheSameState, Conditions,
    testing::Values(
        Request{"SameTag", {{"HTTP_IF_MATCH", kTag}}, Answer::kWhole},
        Request{"WeakTag", {{"HTTP_IF_MATCH", "W/{tag}"}}, Answer::kFailed},
        Request{"TagInAList", {{"HTTP_IF_MATCH", "\"x\", {tag}"}}, Answer::kWhole},
        Request{"AnyTag", {{"HTTP_IF_MATCH", "*"}}, Answer::kWhole},
        Request{"OtherTag", {{"HTTP_IF_MATCH", "\"x\""}}, Answer::kFailed},
        Request{"SameDate", {{"HTTP_IF_UNMODIFIED_SINCE", kModified}}, Answer::kWhole},
        Request{"LaterDate", {{"HTTP_IF_UNMODIFIED_SINCE", kSecondAfter}}, Answer::kWhole},
        Request{"EarlierDate", {{"HTTP_IF_UNMODIFIED_SINCE", kSecondBefore}}, Answer::kFailed},
        Request{"NoDate", {{"HTTP_IF_UNMODIFIED_SINCE", "yesterday"}}, Answer::kWhole},
        Request{"SameTagBeforeEarlierDate",
                {{"HTTP_IF_MATCH", kTag}, {"HTTP_IF_UNMODIFIED_SINCE", kSecondBefore}},
                Answer::kWhole},
        Request{"OtherTagBeforeLaterDate",
                {{"HTTP_IF_MATCH", "\"x\""}, {"HTTP_IF_UNMODIFIED_SINCE", kSecondAfter}},
                Answer::kFailed},
        Request{"OtherTagBeforeNews",
                {{"HTTP_IF_MATCH", "\"x\""}, {"HTTP_IF_NONE_MATCH", kTag}},
                Answer::kFailed},
        Request{"SameTagThenNews",
                {{"HTTP_IF_MATCH", kTag}, {"HTTP_IF_NONE_MATCH", kTag}},
                Answer::kNotModified},
        Request{"DateThenNews",
                {{"HTTP_IF_UNMODIFIED_SINCE", kModified}, {"HTTP_IF_MODIFIED_SINCE", kModified}},
                Answer::kNotModified},
        Request{"OtherTagBeforeRange",
                {{"HTTP_IF_MATCH", "\"x\""}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kFailed},
        Request{"SameTagThenRange",
                {{"HTTP_IF_MATCH", kTag}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kPart}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    OfRanges, Conditions,
    testing::Values(
        Request{"Range", {{"HTTP_RANGE", "bytes=100-299"}}, Answer::kPart},
        Request{"RangesThatJoin", {{"HTTP_RANGE", "bytes=200-299,100-210"}}, Answer::kPart},
        Request{"Malformed", {{"HTTP_RANGE", "bytes=299-100"}}, Answer::kWhole},
        Request{"OtherUnit", {{"HTTP_RANGE", "pixels=1-2"}}, Answer::kWhole},
        Request{"BehindTheEnd", {{"HTTP_RANGE", "bytes=2000-"}}, Answer::kUnsatisfiable},
        Request{"OtherTagIsNews",
                {{"HTTP_IF_NONE_MATCH", "\"x\""}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kPart},
        Request{
            "IfSameTag", {{"HTTP_IF_RANGE", kTag}, {"HTTP_RANGE", "bytes=100-299"}}, Answer::kPart},
        Request{"IfWeakTag",
                {{"HTTP_IF_RANGE", "W/{tag}"}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kWhole},
        Request{"IfOtherTag",
                {{"HTTP_IF_RANGE", "\"x\""}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kWhole},
        Request{"IfListOfTags",
                {{"HTTP_IF_RANGE", "\"x\", {tag}"}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kWhole},
        Request{"IfSameDate",
                {{"HTTP_IF_RANGE", kModified}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kPart},
        Request{"IfLaterDate",
                {{"HTTP_IF_RANGE", kSecondAfter}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kWhole},
        Request{"IfEarlierDate",
                {{"HTTP_IF_RANGE", kSecondBefore}, {"HTTP_RANGE", "bytes=100-299"}},
                Answer::kWhole},
        Request{"IfOtherTagAndBehindTheEnd",
                {{"HTTP_IF_RANGE", "\"x\""}, {"HTTP_RANGE", "bytes=2000-"}},
                Answer::kWhole},
        Request{"IfSameTagAndBehindTheEnd",
                {{"HTTP_IF_RANGE", kTag}, {"HTTP_RANGE", "bytes=2000-"}},
                Answer::kUnsatisfiable},
        Request{"IfSameTagWithoutRange", {{"HTTP_IF_RANGE", kTag}}, Answer::kWhole}),
    vexathumb::kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    OfMethods, Conditions,
    testing::Values(Request{"Head", {{"REQUEST_METHOD", "HEAD"}}, Answer::kHead},
                    Request{"HeadNotModified",
                            {{"REQUEST_METHOD", "HEAD"}, {"HTTP_IF_NONE_MATCH", kTag}},
                            Answer::kNotModified},
                    Request{"HeadFailed",
                            {{"REQUEST_METHOD", "HEAD"}, {"HTTP_IF_MATCH", "\"x\""}},
                            Answer::kFailed},
                    Request{"HeadIgnoresRange",
                            {{"REQUEST_METHOD", "HEAD"}, {"HTTP_RANGE", "bytes=100-299"}},
                            Answer::kHead},
                    Request{"HeadIgnoresUnsatisfiableRange",
                            {{"REQUEST_METHOD", "HEAD"}, {"HTTP_RANGE", "bytes=5000-"}},
                            Answer::kHead},
                    Request{"PostIgnoresConditions",
                            {{"REQUEST_METHOD", "POST"}, {"HTTP_IF_NONE_MATCH", kTag}},
                            Answer::kWhole},
                    Request{"PostIgnoresPreconditions",
                            {{"REQUEST_METHOD", "POST"}, {"HTTP_IF_MATCH", "\"x\""}},
                            Answer::kWhole},
                    Request{"PostIgnoresRange",
                            {{"REQUEST_METHOD", "POST"}, {"HTTP_RANGE", "bytes=100-299"}},
                            Answer::kWhole}),
    vexathumb::kit::CaseName());

TEST_F(ConditionalFile, HasNoStrongDateWithinItsSecond) {
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME, &now);
  // An hour ahead, so that the date that the file is said to be of stays the present second.
  const struct timespec times[] = {{0, 0}, {now.tv_sec + 3600, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file_.c_str(), times, 0), 0);
  const std::string date = HeaderOf(Ask({}).text, "Last-Modified");
  EXPECT_EQ(BodyOf(Ask({{"HTTP_IF_RANGE", date}, {"HTTP_RANGE", "bytes=0-0"}}).text),
            body_ + "late");
}

TEST_F(ConditionalFile, ReadsTheVariablesAtEachCall) {
  EXPECT_EQ(HeaderOf(Ask({{"HTTP_RANGE", "bytes=0-0"}}).text, "Status"), "206 Partial Content");
  EXPECT_EQ(HeaderOf(Ask({}).text, "Status"), "");
  EXPECT_EQ(HeaderOf(Ask({{"HTTP_RANGE", "bytes=9999-"}}).text, "Status"),
            "416 Range Not Satisfiable");
}

struct Slice {
  size_t first;
  size_t last;
};

// The body of a response to several ranges, as its parts must make it up.
std::string MultipartOf(const std::string& body, const std::vector<Slice>& slices,
                        const std::string& boundary) {
  std::string text;
  for (const auto& [first, last] : slices) {
    text += "\r\n--" + boundary + "\r\nContent-Type: image/jpeg\r\nContent-Range: bytes " +
            std::to_string(first) + "-" + std::to_string(last) + "/" + std::to_string(body.size()) +
            "\r\n\r\n" + body.substr(first, last - first + 1);
  }
  return text + "\r\n--" + boundary + "--\r\n";
}

std::string BoundaryOf(const std::string& response) {
  const std::string start = "multipart/byteranges; boundary=";
  const std::string type = HeaderOf(response, "Content-Type");
  EXPECT_EQ(type.substr(0, start.size()), start);
  return type.substr(std::min(type.size(), start.size()));
}

TEST_F(ConditionalFile, SendsSeveralRangesAsOneBodyOfParts) {
  const Received received = Ask({{"HTTP_RANGE", "bytes=1990-,0-9,500-599,550-650"}});
  EXPECT_EQ(received.result, 0);
  const std::string boundary = BoundaryOf(received.text);
  EXPECT_EQ(boundary.size(), 32U);
  const std::string parts = MultipartOf(body_, {{1990, 1999}, {0, 9}, {500, 650}}, boundary);
  EXPECT_EQ(received.text,
            "Cache-Control: early\r\nStatus: 206 Partial Content\r\n"
            "Content-Type: multipart/byteranges; boundary=" +
                boundary + "\r\nContent-Length: " + std::to_string(parts.size()) + "\r\n" +
                FileLines() + parts + "late");
}

TEST_F(ConditionalFile, HasAnotherBoundaryEachTime) {
  const RequestVariables ranges = {{"HTTP_RANGE", "bytes=0-1,5-6"}};
  EXPECT_NE(BoundaryOf(Ask(ranges).text), BoundaryOf(Ask(ranges).text));
}

// Random ranges that do not touch, through every kind of output.
TEST_F(ConditionalFile, SendsRandomRangesAsSlicesOfTheFile) {
  std::mt19937 random(20261120);
  const auto number = [&random](size_t least, size_t most) {
    return std::uniform_int_distribution<size_t>(least, most)(random);
  };
  const std::vector<std::function<Received(const Respond&)>> outputs = {
      ThroughPipe, ThroughBusySocket, ThroughStreamWithoutDescriptor};
  for (int round = 0; round < 60; ++round) {
    std::vector<Slice> slices;
    std::string header = "bytes=";
    for (size_t at = number(0, 900); at < body_.size() && slices.size() < 6;) {
      const size_t last = std::min(at + number(0, 300), body_.size() - 1);
      slices.push_back({at, last});
      if (header.back() != '=') header += ", ";
      header += std::to_string(at) + "-" + std::to_string(last);
      at = last + number(2, 500);
    }
    const ScopedRequest request(RequestVariables{{"HTTP_RANGE", header}});
    const Received received = outputs[static_cast<size_t>(round) % outputs.size()](
        [this] { return HttpFileResponder().Output(file_.c_str(), "image/jpeg"); });
    const std::string body =
        slices.size() == 1 ? body_.substr(slices[0].first, slices[0].last - slices[0].first + 1)
                           : MultipartOf(body_, slices, BoundaryOf(received.text));
    ASSERT_EQ(BodyOf(received.text), body + "late") << header;
    ASSERT_EQ(HeaderOf(received.text, "Content-Length"), std::to_string(body.size())) << header;
  }
}

struct StreamRequest {
  const char* name;
  RequestVariables variables;
  const char* body;
};

class StreamConditions : public testing::TestWithParam<StreamRequest> {};

TEST_P(StreamConditions, HaveNoEffectButHead) {
  const ScopedRequest request(GetParam().variables);
  const char* const argv[] = {"/bin/echo", "-n", "turned", nullptr};
  const Received received = ThroughPipe([&argv] {
    return HttpFileResponder().Output(VLIBCPopenv("/bin/echo", "r", argv), "a.jpg", "image/jpeg");
  });
  EXPECT_EQ(received.result, 0);
  EXPECT_EQ(received.text,
            "Cache-Control: early\r\nContent-Type: image/jpeg\r\n"
            "Content-Disposition: inline; filename=\"a.jpg\"\r\n"
            "X-Content-Type-Options: nosniff\r\n\r\n" +
                std::string(GetParam().body) + "late");
}

INSTANTIATE_TEST_SUITE_P(
    , StreamConditions,
    testing::Values(StreamRequest{"Range", {{"HTTP_RANGE", "bytes=0-1"}}, "turned"},
                    StreamRequest{"IfNoneMatch", {{"HTTP_IF_NONE_MATCH", "*"}}, "turned"},
                    StreamRequest{
                        "IfModifiedSince", {{"HTTP_IF_MODIFIED_SINCE", kModified}}, "turned"},
                    StreamRequest{"IfMatch", {{"HTTP_IF_MATCH", "\"x\""}}, "turned"},
                    StreamRequest{"Head", {{"REQUEST_METHOD", "HEAD"}}, ""}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
