#include <gtest/gtest.h>

#include "app/TalkKeyService.h"
#include "base/DefaultsStore.h"
#include "base/ManualLoop.h"
#include "hotkey/FakeKeySource.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

constexpr int kRightAlt = 100;

struct Fixture {
  test::ScopedLogCapture capture;
  ManualLoop loop;
  InMemoryDefaultsStore defaults;
  AppSettings settings{defaults};
  test::FakeKeySource source;
  test::RecordingTarget target;
  int prewarms = 0;
  TalkKeyService service{loop, source, settings, defaults, {.processId = 4242}};
  Fixture() {
    service.setTarget(&target, [this] { ++prewarms; });
  }
  bool confirmed() const { return defaults.boolean(TalkKeyService::kConfirmedKey).value_or(false); }
};

TEST(TalkKeyService, StartListeningPublishesAndLogsAndWarmsUpOnce) {
  Fixture f;
  std::vector<bool> published;
  f.service.setListeningObserver([&](bool on) { published.push_back(on); });
  f.source.refuse = true;
  EXPECT_FALSE(f.service.startListening());
  EXPECT_EQ(f.prewarms, 0);
  f.source.refuse = false;
  EXPECT_TRUE(f.service.startListening());
  EXPECT_TRUE(f.service.startListening());
  EXPECT_EQ(f.prewarms, 1);
  EXPECT_EQ(published, (std::vector<bool>{true}));

  // A changed key setting restarts on the new key; without a target the key does nothing.
  f.settings.setHotkey(HotkeyChoice::rightCommand);
  EXPECT_EQ(f.source.starts.back(), 126);
  f.service.setTarget(nullptr);
  f.source.press(126);
  EXPECT_TRUE(f.service.keyDown());
  EXPECT_EQ(f.target.calls, "");
}

TEST(TalkKeyService, PauseStopsTheKeyUntilResumed) {
  Fixture f;
  f.service.startListening();
  f.service.pause();
  EXPECT_FALSE(f.service.listening());
  f.source.press(kRightAlt);
  f.settings.setHotkey(HotkeyChoice::fn);  // stays paused
  EXPECT_EQ(f.source.starts.size(), 1u);
  f.service.resume();
  EXPECT_TRUE(f.service.listening());
  EXPECT_EQ(f.source.starts.back(), 464);
  EXPECT_EQ(f.target.calls, "");
}

TEST(TalkKeyService, VerificationOfAnOlderRegistrationIsSuperseded) {
  Fixture f;
  EXPECT_EQ(f.service.registerForInputMonitoring(), 1);
  EXPECT_EQ(f.service.registerForInputMonitoring(), 2);
  f.service.verifyInputMonitoringLive(1);
  EXPECT_FALSE(f.confirmed());
  f.loop.advance(std::chrono::seconds(1));  // the scheduled verification of generation 2
  EXPECT_TRUE(f.confirmed());

  Fixture dead;
  dead.source.live = false;
  dead.service.registerForInputMonitoring();
  dead.loop.advance(std::chrono::seconds(1));
  EXPECT_FALSE(dead.confirmed());
}

TEST(TalkKeyService, ArmWatchdogRetriesEachSecondWithinItsBudget) {
  struct Case {
    const char* name;
    int refusedStarts;  // starts that fail before the permission takes effect
    bool keyHeld;
    int budget;
    bool live;
  };
  const Case cases[] = {
      {"live at once", 0, false, 45, true},
      {"permission after 3 s", 3, false, 45, true},
      {"never", 1000, false, 5, false},
      {"key held: no restart", 1000, true, 3, false},
  };
  for (const auto& c : cases) {
    Fixture f;
    f.source.refuse = c.refusedStarts > 0;
    f.service.startListening();
    if (c.keyHeld) f.service.listener().resynchronise(true);
    bool live = false, revoked = false;
    f.service.armWatchdog(
        c.budget, [&] { live = true; }, [&] { revoked = true; });
    do {
      f.source.refuse = f.source.starts.size() < static_cast<size_t>(c.refusedStarts);
    } while (f.loop.advanceToNextTimer());
    EXPECT_EQ(std::tuple(live, revoked, f.confirmed()), std::tuple(c.live, !c.live, c.live)) << c.name;
    // Held: only the first start; otherwise one start at the beginning and one per failed cycle.
    const size_t starts = c.keyHeld ? 1u : !c.live ? static_cast<size_t>(c.budget) : 1u + c.refusedStarts;
    EXPECT_EQ(f.source.starts.size(), starts) << c.name;
  }
}

}  // namespace
}  // namespace murvelo
