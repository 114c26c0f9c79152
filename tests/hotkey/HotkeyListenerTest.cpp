#include <gtest/gtest.h>

#include "hotkey/FakeKeySource.h"
#include "hotkey/HotkeyListener.h"

namespace murvelo {
namespace {

using EK = KeyEvent::Kind;
// Sequences a real X server does not produce on demand: auto-repeat, gaps in the event stream, fn.
TEST(HotkeyListener, KeyReportsBecomeOneStartAndOneStopPerPress) {
  struct Case {
    const char* name;
    HotkeyChoice key;
    const char* steps;    // see test::keySteps; 56 is Left Alt, 100 Right Alt
    std::string reports;  // S = start, T = stop
  };
  const Case cases[] = {
      {"auto-repeat", HotkeyChoice::rightOption, "+100 r100 r100 -100", "ST"},
      {"release missed in a gap", HotkeyChoice::rightOption, "+100 s0 +100", "STS"},
      {"press during a gap", HotkeyChoice::fn, "s1 -464", "ST"},
      {"gap with no change", HotkeyChoice::rightCommand, "+126 s1", "S"},
      {"other modifiers while fn is held", HotkeyChoice::fn, "+464 +56 -56 -464", "ST"},
  };
  for (const auto& c : cases) {
    std::string reports;
    HotkeyListener listener(
        nullptr, c.key, [&] { reports += 'S'; }, [&] { reports += 'T'; });
    for (const auto& step : test::keySteps(c.steps)) {
      if (step.what == 's')
        listener.resynchronise(step.code != 0);
      else
        listener.handle({step.code, step.what == '+'   ? EK::press
                                    : step.what == '-' ? EK::release
                                                       : EK::repeat});
    }
    EXPECT_EQ(reports, c.reports) << c.name;
  }
}

TEST(TalkKeyMapping, HoldAndToggle) {
  struct Case {
    RecordingMode mode;
    std::string reports;  // S = start, T = stop
    std::string calls;
  };
  const Case cases[] = {
      {RecordingMode::hold, "STST", "DUDU"},
      {RecordingMode::toggle, "STSTST", "DUD"},
  };
  for (const auto& c : cases) {
    test::RecordingTarget target;
    TalkKeyMapping mapping([&] { return c.mode; }, &target);
    for (char r : c.reports) r == 'S' ? mapping.onStart() : mapping.onStop();
    EXPECT_EQ(target.calls, c.calls) << c.reports;
  }
  test::RecordingTarget target;
  TalkKeyMapping detached([] { return RecordingMode::hold; }, &target);
  detached.detach();
  detached.onStart();
  EXPECT_TRUE(target.calls.empty());
}

}  // namespace
}  // namespace murvelo
