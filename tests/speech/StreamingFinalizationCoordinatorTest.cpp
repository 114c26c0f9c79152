#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "base/ManualLoop.h"
#include "base/ThreadTimer.h"
#include "speech/OneShotGate.h"
#include "speech/StreamingFinalizationCoordinator.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using Kind = RaceOutcome::Kind;

class CoordinatorTest : public ::testing::Test {
 protected:
  // Races a finaliser that ends after `finishesAfter` (never when absent) with the 3 s limit and
  // lets virtual time run until the race is decided.
  RaceOutcome race(std::optional<std::chrono::milliseconds> finishesAfter,
                   const std::string& text = "words") {
    std::optional<RaceOutcome> outcome;
    coordinator.race(
        [&, finishesAfter, text](StreamingFinalizationCoordinator::Finished finished) {
          if (finishesAfter) loop.postAfter(*finishesAfter, [finished, text] { finished(text); });
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
  Timer& timer = loop;
  int retired = 0;
  StreamingFinalizationCoordinator coordinator{timer, [this] { ++retired; }};
};

// Two dictations whose finalisations overlap: each is judged on its own, in run order (both finishing,
// or the first hanging: see the overlapping-finalisation scenarios).
TEST_F(CoordinatorTest, OverlappingRacesAreDecidedOneAfterTheOtherInRunOrder) {
  struct Case {
    const char* name;
    std::optional<std::chrono::milliseconds> first, second;  // after each race starts; none: hangs
    Kind firstOutcome, secondOutcome;
    bool quarantined;
  };
  const Case cases[] = {
      {"the second hangs", 2000ms, std::nullopt, Kind::completed, Kind::timedOut, true},
  };
  for (const auto& c : cases) {
    ManualLoop caseLoop;
    StreamingFinalizationCoordinator sut(caseLoop, [] {});
    std::vector<std::pair<std::string, RaceOutcome>> decided;
    auto work = [&](std::optional<std::chrono::milliseconds> after, std::string text) {
      return [&caseLoop, after, text](StreamingFinalizationCoordinator::Finished finished) {
        if (after) caseLoop.postAfter(*after, [finished, text] { finished(text); });
      };
    };
    sut.race(work(c.first, "one"), 3s, [&](RaceOutcome o) { decided.emplace_back("first", o); });
    caseLoop.advance(500ms);
    sut.race(work(c.second, "two"), 3s, [&](RaceOutcome o) { decided.emplace_back("second", o); });
    caseLoop.advance(10s);
    ASSERT_EQ(decided.size(), 2u) << c.name;
    EXPECT_EQ(decided[0].first, "first") << c.name;
    EXPECT_EQ(decided[0].second.kind, c.firstOutcome) << c.name;
    EXPECT_EQ(decided[1].second.kind, c.secondOutcome) << c.name;
    if (c.secondOutcome == Kind::completed) {
      EXPECT_EQ(decided[1].second.text, "two") << c.name;
    }
    EXPECT_EQ(sut.hasQuarantinedFinalizer(), c.quarantined) << c.name;
  }
}

// 2.9 s and 3.1 s: see the quarantine-timeline scenario.
TEST_F(CoordinatorTest, WorkFinishingJustInsideOrOutsideTheLimit) {
  struct Case {
    std::chrono::milliseconds finishesAfter;
    Kind outcome;
    bool quarantinedAfterRace;
  };
  const Case cases[] = {
      {0ms, Kind::completed, false}, {2999ms, Kind::completed, false}, {10000ms, Kind::timedOut, true}};
  for (const auto& c : cases) {
    ManualLoop caseLoop;
    int caseRetired = 0;
    StreamingFinalizationCoordinator sut(caseLoop, [&] { ++caseRetired; });
    std::optional<RaceOutcome> outcome;
    sut.race([&](auto finished) { caseLoop.postAfter(c.finishesAfter, [finished] { finished("text"); }); },
             3s, [&](RaceOutcome decided) { outcome = decided; });
    caseLoop.advance(3s);
    ASSERT_TRUE(outcome) << c.finishesAfter.count();
    EXPECT_EQ(outcome->kind, c.outcome) << c.finishesAfter.count();
    if (c.outcome == Kind::completed) {
      EXPECT_EQ(outcome->text, "text");
    }
    EXPECT_EQ(sut.isQuarantined(), c.quarantinedAfterRace) << c.finishesAfter.count();
    // Once the late work exits, the quarantine is over and the retirement reported once.
    caseLoop.advance(20s);
    EXPECT_FALSE(sut.isQuarantined()) << c.finishesAfter.count();
    EXPECT_EQ(caseRetired, c.quarantinedAfterRace ? 1 : 0) << c.finishesAfter.count();
    EXPECT_EQ(sut.lifetimeAbandonedFinalizers(), 0);
  }
}

TEST_F(CoordinatorTest, DefaultRetirementLogsItsLine) {
  test::ScopedLogCapture capture;
  StreamingFinalizationCoordinator sut(timer);
  sut.race([&](auto finished) { loop.postAfter(3100ms, [finished] { finished(""); }); }, 3s,
           [](RaceOutcome) {});
  loop.advance(4s);
  EXPECT_EQ(capture.sink().messages(), std::vector<std::string>{"streaming retired finalizer exited"});
}

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

TEST(OneShotGate, TheFirstOutcomeWins) {
  struct Case {
    RaceOutcome first, second;
  };
  const Case cases[] = {{RaceOutcome::timedOut(), RaceOutcome::completed("late")},
                        {RaceOutcome::completed("early"), RaceOutcome::timedOut()}};
  for (const auto& c : cases) {
    OneShotGate waitingFirst;
    std::vector<RaceOutcome> seen;
    waitingFirst.wait([&](RaceOutcome outcome) { seen.push_back(outcome); });
    waitingFirst.resolve(c.first);
    waitingFirst.resolve(c.second);
    EXPECT_EQ(seen, std::vector<RaceOutcome>{c.first});

    OneShotGate resolvedFirst;
    resolvedFirst.resolve(c.first);
    resolvedFirst.resolve(c.second);
    EXPECT_EQ(resolvedFirst.wait(), c.first);
  }
}

TEST(OneShotGate, ABlockedWaiterIsReleasedFromAnotherThread) {
  OneShotGate gate;
  auto waiter = std::async(std::launch::async, [&] { return gate.wait(); });
  std::thread resolver([&] { gate.resolve(RaceOutcome::completed("x")); });
  resolver.join();
  EXPECT_EQ(waiter.get(), RaceOutcome::completed("x"));
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

  std::promise<RaceOutcome> quickOutcome;
  sut.race([](auto finished) { std::thread([finished] { finished("quick"); }).detach(); }, 10s,
           [&](RaceOutcome o) { quickOutcome.set_value(o); });
  EXPECT_EQ(quickOutcome.get_future().get(), RaceOutcome::completed("quick"));
}

}  // namespace
}  // namespace murvelo
