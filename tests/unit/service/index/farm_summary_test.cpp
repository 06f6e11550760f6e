#include "service/index/farm_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "kit/case_name.h"

namespace vexathumb::service {
namespace {

constexpr char kBuilt[] = R"({"file":"/d/a.jpg","state":"built","error":null,"thumbnails":[]})";
constexpr char kCurrent[] =
    R"({"file":"/d/a.jpg","state":"current","thumbnails":[{"state":"built"}]})";
constexpr char kSummary[] = R"({"summary":{"sources":1,"built":1}})";

std::string From(const std::string& host) { return R"({"host":")" + host + "\"}"; }

class FarmTallyTest : public testing::Test {
 protected:
  // "shard by host" when it is told to be done.
  std::string Take(int shard, const std::string& said) {
    const auto done = tally_.Take(std::to_string(shard) + "\t" + said);
    return done ? done->shard + " by " + done->host : "";
  }

  // "host built/left" of all.
  std::string Hosts() const {
    std::string text;
    for (const auto& [name, host] : tally_.hosts()) {
      text += (text.empty() ? "" : ", ") + name + " " + std::to_string(host.built) + "/" +
              std::to_string(host.left);
    }
    return text;
  }

  FarmTally tally_;
};

TEST_F(FarmTallyTest, CountsTheSourcesThatEachHostHasBuiltFor) {
  Take(1, From("nas1"));
  Take(2, From("nas2"));
  EXPECT_EQ(Take(1, kBuilt), "");
  Take(2, kBuilt);
  Take(1, kBuilt);
  Take(1, kCurrent);
  EXPECT_EQ(Hosts(), "nas1 2/0, nas2 1/0");
  EXPECT_EQ(tally_.built(), 3);
}

TEST_F(FarmTallyTest, TellsOfTheShardsThatAreDone) {
  Take(1, From("nas1"));
  Take(2, From("nas2"));
  EXPECT_EQ(Take(2, kSummary), "2 by nas2");
  EXPECT_EQ(Take(1, kSummary), "1 by nas1");
  EXPECT_EQ(Take(3, kSummary), "") << "nobody knows by whom";
}

TEST_F(FarmTallyTest, AShardThatAnotherHostBeginsWasLeft) {
  Take(1, From("nas1"));
  Take(1, kBuilt);
  Take(1, From("nas2"));
  Take(1, kBuilt);
  EXPECT_EQ(Take(1, kSummary), "1 by nas2");
  EXPECT_EQ(Hosts(), "nas1 1/1, nas2 1/0");
}

TEST_F(FarmTallyTest, AShardThatIsDoneAgainWasNotLeft) {
  Take(1, From("nas1"));
  Take(1, kSummary);
  Take(1, From("nas2"));
  EXPECT_EQ(Hosts(), "nas1 0/0, nas2 0/0");
}

struct Line {
  const char* name;
  std::string line;
};

class FarmTallyLine : public FarmTallyTest, public testing::WithParamInterface<Line> {};

TEST_P(FarmTallyLine, CountsForNothing) {
  Take(1, From("nas1"));
  EXPECT_FALSE(tally_.Take(GetParam().line));
  EXPECT_EQ(Hosts(), "nas1 0/0");
}

INSTANTIATE_TEST_SUITE_P(
    , FarmTallyLine,
    testing::Values(Line{"Empty", ""}, Line{"OfAShardOnly", "1\t"}, Line{"WithoutAShard", kBuilt},
                    Line{"CutShort", "1\t{\"file\":\"/d/a.jpg\",\"state\":\"built\",\"th"},
                    Line{"TwoInOne", std::string("1\t") + kBuilt + kBuilt},
                    Line{"NoObject", "1\t[\"built\"]"}, Line{"AToolsMessage", "1\tconvert: no"},
                    Line{"OtherStates", std::string("1\t") + kCurrent},
                    Line{"HostThatIsNoText", "1\t{\"host\":1}"},
                    Line{"AnotherShards", std::string("2\t") + kBuilt}),
    kit::CaseName());

uint64_t Done(const std::string& lines) {
  std::istringstream joblog(
      "Seq\tHost\tStarttime\tJobRuntime\tSend\tReceive\tExitval\tSignal\tCommand\n" + lines);
  return CountDoneShards(joblog);
}

std::string JobLine(int shard, int code) {
  return std::to_string(shard) + "\tnas1\t1763782645.1\t     0.012\t0\t9\t" + std::to_string(code) +
         "\t0\tsh -c 'printf \"\t0\t0\"' " + std::to_string(shard) + "\n";
}

TEST(FarmJobLog, CountsEachShardThatEndedWell) {
  EXPECT_EQ(Done(""), 0);
  EXPECT_EQ(Done(JobLine(2, 0) + JobLine(1, 0) + JobLine(3, 255)), 2);
}

TEST(FarmJobLog, TheLastLineOfAShardCounts) {
  EXPECT_EQ(Done(JobLine(1, 255) + JobLine(2, 0) + JobLine(1, 0)), 2);
  EXPECT_EQ(Done(JobLine(1, 0) + JobLine(1, 1)), 0);
}

TEST(FarmJobLog, ThatIsMissingOrCutShortHasNoMore) {
  std::istringstream missing;
  EXPECT_EQ(CountDoneShards(missing), 0);
  EXPECT_EQ(Done(JobLine(1, 0) + "2\tnas1\t1763782645.1"), 1);
}

}  // namespace
}  // namespace vexathumb::service
