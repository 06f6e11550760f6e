#include "service/index/source_report.h"

#include <gtest/gtest.h>

namespace vexathumb::service {
namespace {

TEST(SourceReport, SurvivesBeingPacked) {
  SourceReport report;
  report.source = "/s/\xff name\n.jpg";
  report.state = BuildState::kFailed;
  report.cause = {"a cause", "an advice"};
  report.is_known_failure = true;
  report.bytes = uint64_t{5} << 32;
  report.milliseconds = 12.5;
  BuiltSize size;
  size.size = "big";
  size.state = BuildState::kBuilt;
  size.from = "Docdeck";
  size.output = "/s/.vexaea/x";
  size.milliseconds = 1.25;
  size.picture.width = 640;
  report.sizes = {size, {}};

  const SourceReport copy = Unpack(Pack(report));
  EXPECT_EQ(copy.source, report.source);
  EXPECT_EQ(copy.state, report.state);
  EXPECT_EQ(copy.cause.text, report.cause.text);
  EXPECT_EQ(copy.cause.advice, report.cause.advice);
  EXPECT_TRUE(copy.is_known_failure);
  EXPECT_EQ(copy.bytes, report.bytes);
  EXPECT_EQ(copy.milliseconds, report.milliseconds);
  ASSERT_EQ(copy.sizes.size(), 2U);
  EXPECT_EQ(copy.sizes[0].size, "big");
  EXPECT_EQ(copy.sizes[0].state, BuildState::kBuilt);
  EXPECT_EQ(copy.sizes[0].from, "Docdeck");
  EXPECT_EQ(copy.sizes[0].output, size.output);
  EXPECT_EQ(copy.sizes[0].milliseconds, 1.25);
  EXPECT_EQ(copy.sizes[0].picture.width, 640U);
  EXPECT_FALSE(copy.sizes[0].picture.height);
  EXPECT_EQ(copy.sizes[1].state, BuildState::kFailed);
}

TEST(SourceReport, OtherBytesAreNoReport) {
  EXPECT_ANY_THROW(Unpack(""));
  EXPECT_ANY_THROW(Unpack("text"));
}

}  // namespace
}  // namespace vexathumb::service
