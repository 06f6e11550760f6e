#include "service/store/build_slot.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::SizeIs;

// A process that takes something, says so and keeps it until it is killed or told to go.
class Holder {
 public:
  template <typename Take>
  explicit Holder(Take take)
      : process_([&, take] {
          const auto held = take();
          taken_.Give();
          go_.Await();
          return 0;
        }) {}

  void AwaitTaken() const { taken_.Await(); }
  void Release() {
    go_.Give();
    EXPECT_EQ(process_.Wait(), 0);
  }
  void Kill() { process_.Kill(); }

 private:
  const Signal taken_;
  const Signal go_;
  Process process_;
};

struct NameCase {
  const char* name;
  const char* one;
  const char* other;
  bool excludes;
};

class SourceLockTest : public ServiceTest, public testing::WithParamInterface<NameCase> {};

TEST_P(SourceLockTest, IsKeyedByTheBaseName) {
  Holder holder(
      [&] { return std::make_unique<SourceLock>(options_.lock_directory, GetParam().one); });
  holder.AwaitTaken();
  const Signal taken;
  Process other([&] {
    const SourceLock lock(options_.lock_directory, GetParam().other);
    taken.Give();
    return 0;
  });
  if (GetParam().excludes) {
    holder.Release();
    taken.Await();
  } else {
    taken.Await();  // while the holder holds its own
    holder.Release();
  }
  EXPECT_EQ(other.Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Names, SourceLockTest,
                         testing::Values(NameCase{"SameFile", "/s/a.jpg", "/s/a.jpg", true},
                                         NameCase{"SameName", "/s/a.jpg", "/s/b/a.jpg", true},
                                         NameCase{"OtherName", "/s/a.jpg", "/s/b.jpg", false},
                                         NameCase{"OtherCase", "/s/a.jpg", "/s/A.jpg", false}),
                         CaseName());

TEST_F(SourceLockTest, ALockThatIsHeldCannotBeHad) {
  Holder holder([&] { return std::make_unique<SourceLock>(options_.lock_directory, "/s/a.jpg"); });
  holder.AwaitTaken();
  int held = 0;
  for (const std::string& name : NamesIn(options_.lock_directory)) {
    if (!LockFile(options_.lock_directory, name).TryLock()) ++held;
  }
  EXPECT_EQ(held, 1);
  holder.Kill();
  const SourceLock lock(options_.lock_directory, "/t/a.jpg");
}

TEST_F(SourceLockTest, TheNumberOfFilesIsBounded) {
  for (int i = 0; i < 2000; ++i) {
    const SourceLock lock(options_.lock_directory, "/s/" + std::to_string(i) + ".jpg");
  }
  EXPECT_THAT(NamesIn(options_.lock_directory), SizeIs(256));
}

class BuildQueueTest : public ServiceTest {};

TEST_F(BuildQueueTest, RefusesNobodyWhileItIsLookedAt) {
  constexpr int kTries = 5000;
  const BuildLimits limits = {1, 0};
  const Signal looking;
  Process looker([&] {
    looking.Give();
    for (;;) LookAtQueue(options_.lock_directory, limits);
    return 0;
  });
  looking.Await();
  int refused = 0;
  for (int i = 0; i < kTries; ++i) {
    refused += BuildTicket::Take(options_.lock_directory, limits) ? 0 : 1;
  }
  EXPECT_EQ(refused, 0);
}

bool Never() { return false; }

// What a request has that builds.
struct Turn {
  BuildTicket ticket;
  BuildSlot slot;
};

std::optional<Turn> TakeTurn(const std::string& directory, const BuildLimits& limits) {
  auto ticket = BuildTicket::Take(directory, limits);
  if (!ticket) return std::nullopt;
  return Turn{std::move(*ticket), *BuildSlot::Take(directory, limits, std::nullopt)};
}

class BuildSlotTest : public ServiceTest {
 protected:
  std::unique_ptr<Holder> Hold(const BuildLimits& limits) const {
    const std::string directory = options_.lock_directory;
    return std::make_unique<Holder>([directory, limits] {
      auto turn = TakeTurn(directory, limits);
      if (!turn) throw std::runtime_error("no turn");
      return turn;
    });
  }
  std::optional<Turn> Take(const BuildLimits& limits) const {
    return TakeTurn(options_.lock_directory, limits);
  }
  // Background work that has a turn and gives way when it is told to; 0 when it has one again.
  int TakeAndGiveWay(const BuildLimits& limits, const Signal& taken, const Signal& give_way) const {
    BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", limits);
    if (!turn.Take(Never)) return 1;
    taken.Give();
    give_way.Await();
    return turn.GiveWay(Never) ? 0 : 1;
  }
  // Until the lock file of that name is held. It is not tried for: whoever comes at that moment
  // would find it held.
  void AwaitHeld(const std::string& name) const {
    while (!IsHeld(InodeOf(options_.lock_directory + "/" + name))) usleep(1000);
  }
  static bool IsHeld(ino_t inode) {
    std::ifstream locks("/proc/locks");
    const std::string file = ":" + std::to_string(inode) + " ";
    for (std::string line; std::getline(locks, line);) {
      const bool is_held = line.find("->") == std::string::npos;
      if (is_held && line.find(file) != std::string::npos) return true;
    }
    return false;
  }
};

TEST_F(BuildSlotTest, AsManyBuildAtOnceAsThereAreBuilders) {
  const BuildLimits limits = {3, 0};
  std::vector<std::unique_ptr<Holder>> builders;
  for (int i = 0; i < 3; ++i) {
    builders.push_back(Hold(limits));
    builders.back()->AwaitTaken();
  }
  EXPECT_FALSE(Take(limits)) << "none may wait";
  builders[1]->Release();
  EXPECT_TRUE(Take(limits));
}

TEST_F(BuildSlotTest, ATurnIsOverWithItsObject) {
  const BuildLimits limits = {1, 0};
  {
    const auto turn = Take(limits);
    EXPECT_TRUE(turn);
    EXPECT_FALSE(Take(limits));
  }
  EXPECT_TRUE(Take(limits));
}

TEST_F(BuildSlotTest, OnlySoManyWait) {
  const BuildLimits limits = {1, 2};
  const auto builder = Hold(limits);
  builder->AwaitTaken();
  const auto first = Hold(limits);
  const auto second = Hold(limits);
  AwaitHeld("ticket.1");
  AwaitHeld("ticket.2");
  EXPECT_FALSE(Take(limits));
  builder->Release();
}

TEST_F(BuildSlotTest, TheWaitingGetTheirTurnOneAfterAnother) {
  const BuildLimits limits = {1, 2};
  auto builder = Hold(limits);
  builder->AwaitTaken();
  std::vector<std::unique_ptr<Process>> waiting;
  for (int i = 0; i < 2; ++i) {
    waiting.push_back(std::make_unique<Process>([&] {
      const auto turn = Take(limits);
      return turn ? 0 : 1;
    }));
  }
  AwaitHeld("ticket.1");
  AwaitHeld("ticket.2");
  builder->Release();
  for (const auto& process : waiting) EXPECT_EQ(process->Wait(), 0);
}

TEST_F(BuildSlotTest, AWaiterTakesWhicheverPlaceBecomesFree) {
  const BuildLimits limits = {2, 2};
  for (const int free : {0, 1}) {
    std::vector<std::unique_ptr<Holder>> builders;
    for (int i = 0; i < 2; ++i) {
      builders.push_back(Hold(limits));
      builders.back()->AwaitTaken();
    }
    const auto waiting = Hold(limits);
    AwaitHeld("ticket.2");
    builders[static_cast<size_t>(free)]->Release();
    waiting->AwaitTaken();
    waiting->Release();
  }
}

TEST_F(BuildSlotTest, TurnsAreReleasedOnDeath) {
  const BuildLimits limits = {1, 1};
  const auto builder = Hold(limits);
  builder->AwaitTaken();
  const auto waiting = Hold(limits);
  AwaitHeld("ticket.1");
  EXPECT_FALSE(Take(limits));
  waiting->Kill();
  builder->Kill();
  EXPECT_TRUE(Take(limits));
}

TEST_F(BuildSlotTest, OneWorkerStaysFree) {
  BuildLimits limits = {2, 100};
  limits.workers = 3;
  const auto first = Hold(limits);
  first->AwaitTaken();
  const auto second = Hold(limits);
  second->AwaitTaken();
  EXPECT_FALSE(Take(limits));
  limits.workers = 4;
  EXPECT_TRUE(BuildTicket::Take(options_.lock_directory, limits));
}

TEST_F(BuildSlotTest, TheOnlyWorkerBuilds) {
  BuildLimits limits = {2, 100};
  limits.workers = 1;
  EXPECT_TRUE(Take(limits));
}

TEST_F(BuildSlotTest, HalfOfThoseThatMayWaitDoSoForOneSource) {
  const BuildLimits limits = {1, 3};
  Holder other([&] { return std::make_unique<SourceLock>(options_.lock_directory, "/s/a.jpg"); });
  other.AwaitTaken();
  const auto wait = [&] {
    return SourceLock::Take(options_.lock_directory, "/s/a.jpg", limits, std::nullopt);
  };
  const auto await_held = [&](const std::string& beginning, size_t files) {
    const auto begins = [&](const std::string& name) { return name.rfind(beginning, 0) == 0; };
    std::vector<std::string> found;
    while (found.size() < files) {
      found.clear();
      const auto names = NamesIn(options_.lock_directory);
      std::copy_if(names.begin(), names.end(), std::back_inserter(found), begins);
      usleep(1000);
    }
    for (const std::string& name : found) AwaitHeld(name);
  };
  Holder first(wait);
  await_held("line.", 1);  // before the second looks for a place, which is behind it
  Holder second(wait);
  await_held("waiting.", 2);
  EXPECT_FALSE(wait());
  EXPECT_TRUE(SourceLock::Take(options_.lock_directory, "/s/b.jpg", limits, std::nullopt));
  other.Release();
  first.AwaitTaken();
  first.Release();
  second.AwaitTaken();
  second.Release();
}

TEST_F(BuildSlotTest, WaitingEndsAtTheDeadline) {
  const BuildLimits limits = {1, 3};
  const auto soon = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
  const auto builder = Hold(limits);
  builder->AwaitTaken();
  EXPECT_FALSE(BuildSlot::Take(options_.lock_directory, limits, soon));
  Holder other([&] { return std::make_unique<SourceLock>(options_.lock_directory, "/s/a.jpg"); });
  other.AwaitTaken();
  EXPECT_FALSE(SourceLock::Take(options_.lock_directory, "/s/a.jpg", limits, soon));
  EXPECT_GE(std::chrono::steady_clock::now(), soon);
}

TEST_F(BuildSlotTest, ThereIsAlwaysOneBuilder) { EXPECT_TRUE(Take({0, 0})); }

TEST_F(BuildSlotTest, BackgroundWorkTakesAFreePlace) {
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", {1, 0});
  EXPECT_TRUE(turn.Take(Never));
  EXPECT_FALSE(LockFile(options_.lock_directory, "builder.0").TryLock());
}

TEST_F(BuildSlotTest, BackgroundWorkThatGivesUpHasNoPlace) {
  const auto builder = Hold({1, 0});
  builder->AwaitTaken();
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", {1, 0});
  int asked = 0;
  EXPECT_FALSE(turn.Take([&asked] { return ++asked == 3; }));
  EXPECT_EQ(asked, 3);
}

TEST_F(BuildSlotTest, BackgroundWorkKeepsItsPlaceWhileNobodyWaits) {
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", {1, 1});
  ASSERT_TRUE(turn.Take(Never));
  EXPECT_TRUE(turn.GiveWay([] { return true; }));
}

TEST_F(BuildSlotTest, BackgroundWorkLetsThoseWhoWaitGoFirst) {
  const BuildLimits limits = {1, 1};
  const Signal taken;
  const Signal give_way;
  Process background([&] { return TakeAndGiveWay(limits, taken, give_way); });
  taken.Await();
  const auto waiting = Hold(limits);
  AwaitHeld("line");
  give_way.Give();
  waiting->AwaitTaken();
  EXPECT_TRUE(background.IsRunning()) << "it waits now";
  waiting->Release();
  EXPECT_EQ(background.Wait(), 0);
}

TEST_F(BuildSlotTest, BackgroundWorkLetsThoseWhoWaitForItsSourceGoFirst) {
  const BuildLimits limits = {1, 0};
  const Signal taken;
  const Signal give_way;
  Process background([&] { return TakeAndGiveWay(limits, taken, give_way); });
  taken.Await();
  Holder request([&] { return std::make_unique<SourceLock>(options_.lock_directory, "/s/a.jpg"); });
  for (const std::string& name : NamesIn(options_.lock_directory)) {
    if (name.rfind("line.", 0) == 0) AwaitHeld(name);
  }
  give_way.Give();
  request.AwaitTaken();
  EXPECT_TRUE(background.IsRunning()) << "it waits now";
  EXPECT_TRUE(Take(limits)) << "it has no place meanwhile";
  request.Release();
  EXPECT_EQ(background.Wait(), 0);
}

TEST_F(BuildSlotTest, BackgroundWorkDoesNotPassThoseWhoWait) {
  const BuildLimits limits = {1, 1};
  const auto builder = Hold(limits);
  builder->AwaitTaken();
  const auto waiting = Hold(limits);
  AwaitHeld("line");
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", limits);
  int asked = 0;
  EXPECT_FALSE(turn.Take([&] {
    if (++asked == 1) builder->Release();
    if (asked == 1) waiting->AwaitTaken();
    return asked == 3;
  }));
  waiting->Release();
}

TEST_F(BuildSlotTest, BackgroundWorkWaitsForASourceWithoutAPlace) {
  const BuildLimits limits = {1, 0};
  Holder other([&] { return std::make_unique<SourceLock>(options_.lock_directory, "/s/a.jpg"); });
  other.AwaitTaken();
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", limits);
  int asked = 0;
  EXPECT_FALSE(turn.Take([&] { return !Take(limits) || ++asked == 3; }));
  EXPECT_EQ(asked, 3);
  other.Release();
  EXPECT_TRUE(turn.Take(Never));
}

TEST_F(BuildSlotTest, BackgroundWorkWaitsForAPlaceWithoutTheSource) {
  const auto builder = Hold({1, 0});
  builder->AwaitTaken();
  BackgroundSlot turn(options_.lock_directory, "/s/a.jpg", {1, 0});
  int asked = 0;
  EXPECT_FALSE(turn.Take([&] {
    const SourceLock request(options_.lock_directory, "/s/a.jpg");
    return ++asked == 3;
  }));
}

TEST_F(BuildSlotTest, TheQueueOfAMachineThatNeverBuiltIsEmpty) {
  const BuildQueue queue = LookAtQueue(options_.lock_directory, {2, 3});
  EXPECT_EQ(queue.building, 0);
  EXPECT_EQ(queue.requested, 0);
}

TEST_F(BuildSlotTest, TheQueueTellsWhoBuildsAndWhoWaits) {
  const BuildLimits limits = {1, 2};
  const auto builder = Hold(limits);
  builder->AwaitTaken();
  const auto waiting = Hold(limits);
  AwaitHeld("ticket.1");
  BuildQueue queue = LookAtQueue(options_.lock_directory, limits);
  EXPECT_EQ(queue.building, 1);
  EXPECT_EQ(queue.requested, 2);
  builder->Release();
  waiting->AwaitTaken();
  queue = LookAtQueue(options_.lock_directory, limits);
  EXPECT_EQ(queue.building, 1);
  EXPECT_EQ(queue.requested, 1);
  waiting->Release();
  queue = LookAtQueue(options_.lock_directory, limits);
  EXPECT_EQ(queue.building, 0);
  EXPECT_EQ(queue.requested, 0);
}

TEST_F(BuildSlotTest, TheQueueCountsTheIndexerAsBuildingAlone) {
  const BuildLimits limits = {2, 0};
  Holder indexer([&] {
    auto turn = std::make_unique<BackgroundSlot>(options_.lock_directory, "/s/a.jpg", limits);
    if (!turn->Take(Never)) throw std::runtime_error("no turn");
    return turn;
  });
  indexer.AwaitTaken();
  const BuildQueue queue = LookAtQueue(options_.lock_directory, limits);
  EXPECT_EQ(queue.building, 1);
  EXPECT_EQ(queue.requested, 0);
  indexer.Release();
}

TEST_F(BuildSlotTest, TheQueueCannotBeLookedAtWhereNoLockCanBe) {
  EXPECT_THROW(LookAtQueue("/dev/null/locks", {1, 0}), std::system_error);
}

// Every process notes how many are building while it does.
TEST_F(BuildSlotTest, ManyProcessesNeverBuildMoreAtOnce) {
  const BuildLimits limits = {2, 20};
  const int journal = open((elsewhere_ / "journal").c_str(), O_CREAT | O_RDWR | O_APPEND, 0600);
  std::vector<std::unique_ptr<Process>> processes;
  for (int i = 0; i < 12; ++i) {
    processes.push_back(std::make_unique<Process>([&] {
      for (int round = 0; round < 5; ++round) {
        const auto turn = Take(limits);
        if (!turn || write(journal, "+", 1) != 1) return 1;
        usleep(200);
        if (write(journal, "-", 1) != 1) return 1;
      }
      return 0;
    }));
  }
  for (const auto& process : processes) EXPECT_EQ(process->Wait(), 0);
  close(journal);
  int building = 0;
  int most = 0;
  const std::string entries = kit::ReadFile(elsewhere_ / "journal");
  for (const char entry : entries) {
    building += entry == '+' ? 1 : -1;
    most = std::max(most, building);
  }
  EXPECT_EQ(entries.size(), 2U * 12 * 5);
  EXPECT_EQ(building, 0);
  EXPECT_LE(most, 2);
}

}  // namespace
}  // namespace vexathumb::service
