#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "base/ManualLoop.h"
#include "base/ThreadTimer.h"
#include "speech/OneShotGate.h"
#include "speech/StreamingFinalizationCoordinator.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using Kind = RaceOutcome::Kind;

class CoordinatorTest : public ::testing::Test {
 protected:
  // Races a finaliser that ends after `finishesAfter` (never when absent) with the 3 s limit and
  // lets virtual time run until the race is decided.
  RaceOutcome race(std::optional<std::chrono::milliseconds> finishesAfter) {
    std::optional<RaceOutcome> outcome;
    coordinator.race(
        [&, finishesAfter](StreamingFinalizationCoordinator::Finished finished) {
          if (finishesAfter) loop.postAfter(*finishesAfter, [finished] { finished("words"); });
        },
        3s, [&](RaceOutcome decided) { outcome = decided; });
    while (!outcome && loop.advanceToNextTimer()) {
    }
    EXPECT_TRUE(outcome.has_value());
    return outcome.value_or(RaceOutcome::timedOut());
  }

  // A finaliser that hangs, then the time until streaming is allowed again.
  std::chrono::milliseconds quarantineLength() {
    EXPECT_EQ(race(std::nullopt).kind, Kind::timedOut);
    auto start = loop.now();
    while (coordinator.isQuarantined()) loop.advance(1s);
    return std::chrono::duration_cast<std::chrono::milliseconds>(loop.now() - start);
  }

  ManualLoop loop;
  int retired = 0;
  StreamingFinalizationCoordinator coordinator{loop, [this] { ++retired; }};
};

// Finishing just inside or outside the limit, and overlapping races, are in the quarantine-timeline
// and overlapping-finalisation scenarios.
TEST_F(CoordinatorTest, BackoffDoublesToThirtyMinutesAndResetsAfterACompletedRace) {
  const std::chrono::milliseconds expected[] = {60s, 120s, 240s, 480s, 960s, 1800s, 1800s};
  for (auto length : expected) EXPECT_EQ(quarantineLength(), length);
  EXPECT_EQ(coordinator.abandonedFinalizers(), 7);
  EXPECT_EQ(retired, 7);

  EXPECT_EQ(race(100ms).kind, Kind::completed);
  EXPECT_EQ(coordinator.quarantineBackoff(), StreamingFinalizationCoordinator::Duration(60s));
  EXPECT_EQ(coordinator.abandonedFinalizers(), 0);
  EXPECT_EQ(coordinator.lifetimeAbandonedFinalizers(), 7);
}

TEST_F(CoordinatorTest, AfterEightAbandonedAQuarantineLastsUntilTheWorkExits) {
  for (int i = 0; i < 8; ++i) {
    quarantineLength();
    if (i % 2 == 0) race(10ms);  // completed races between hangs do not spare the lifetime count
  }
  ASSERT_EQ(coordinator.lifetimeAbandonedFinalizers(), 8);
  EXPECT_FALSE(coordinator.isQuarantined()) << "nothing in quarantine";

  StreamingFinalizationCoordinator::Finished hung;
  std::optional<RaceOutcome> outcome;
  coordinator.race([&](auto finished) { hung = finished; }, 3s,
                   [&](RaceOutcome decided) { outcome = decided; });
  loop.advance(3s);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->kind, Kind::timedOut);
  loop.advance(std::chrono::hours(5));
  EXPECT_TRUE(coordinator.isQuarantined());
  EXPECT_EQ(coordinator.lifetimeAbandonedFinalizers(), 8);

  int before = retired;
  hung("finally");
  EXPECT_EQ(retired, before + 1);
  EXPECT_FALSE(coordinator.isQuarantined());
}

TEST_F(CoordinatorTest, AnExitReportForAnUnknownRaceIsIgnored) {
  race(std::nullopt);
  coordinator.finalizerExited("not-a-race");
  EXPECT_TRUE(coordinator.isQuarantined());
  EXPECT_EQ(retired, 0);
}

TEST(OneShotGate, TheFirstOutcomeWinsWhicheverSideComesFirst) {
  for (bool waitFirst : {true, false}) {
    OneShotGate gate;
    std::vector<RaceOutcome> seen;
    auto waiter = [&](RaceOutcome outcome) { seen.push_back(outcome); };
    if (waitFirst) gate.wait(waiter);
    gate.resolve(RaceOutcome::timedOut());
    gate.resolve(RaceOutcome::completed("late"));
    if (!waitFirst) gate.wait(waiter);
    EXPECT_EQ(seen, std::vector<RaceOutcome>{RaceOutcome::timedOut()}) << waitFirst;
  }
}

TEST(ThreadTimer, DecidesARaceOnItsOwnThread) {
  ThreadTimer timer;
  StreamingFinalizationCoordinator sut(timer, [] {});
  std::promise<RaceOutcome> hungOutcome;
  StreamingFinalizationCoordinator::Finished hung;
  sut.race([&](auto finished) { hung = finished; }, 20ms, [&](RaceOutcome o) { hungOutcome.set_value(o); });
  EXPECT_EQ(hungOutcome.get_future().get().kind, Kind::timedOut);
  EXPECT_TRUE(sut.isQuarantined());
  hung("");
  EXPECT_FALSE(sut.isQuarantined());
}

}  // namespace
}  // namespace murvelo
