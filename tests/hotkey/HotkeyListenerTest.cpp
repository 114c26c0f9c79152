#include <gtest/gtest.h>

#include "hotkey/FakeKeySource.h"
#include "hotkey/HotkeyListener.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using EK = KeyEvent::Kind;
constexpr int kLeftAlt = 56;
constexpr int kRightAlt = 100;

// A step of a sequence: a key event, or a resynchronisation after a gap.
struct Input {
  KeyEvent event;
  std::optional<bool> resyncDown = std::nullopt;
};

TEST(HotkeyListener, KeyReportsBecomeOneStartAndOneStopPerPress) {
  struct Case {
    const char* name;
    HotkeyChoice key;
    std::vector<Input> inputs;
    std::string reports;  // S = start, T = stop
  };
  const Case cases[] = {
      {"press and release",
       HotkeyChoice::rightOption,
       {{{kRightAlt, EK::press}}, {{kRightAlt, EK::release}}},
       "ST"},
      {"left key alone", HotkeyChoice::rightOption, {{{kLeftAlt, EK::press}}, {{kLeftAlt, EK::release}}}, ""},
      {"left held, right pressed",
       HotkeyChoice::rightOption,
       {{{kLeftAlt, EK::press}},
        {{kRightAlt, EK::press}},
        {{kRightAlt, EK::release}},
        {{kLeftAlt, EK::release}}},
       "ST"},
      {"auto-repeat",
       HotkeyChoice::rightOption,
       {{{kRightAlt, EK::press}},
        {{kRightAlt, EK::repeat}},
        {{kRightAlt, EK::repeat}},
        {{kRightAlt, EK::release}}},
       "ST"},
      {"duplicate press",
       HotkeyChoice::rightControl,
       {{{97, EK::press}}, {{97, EK::press}}, {{97, EK::release}}},
       "ST"},
      {"release missed in a gap",
       HotkeyChoice::rightOption,
       {{{kRightAlt, EK::press}}, {{0, EK::press}, false}, {{kRightAlt, EK::press}}},
       "STS"},
      {"press during a gap", HotkeyChoice::fn, {{{0, EK::press}, true}, {{464, EK::release}}}, "ST"},
      {"gap with no change", HotkeyChoice::rightCommand, {{{126, EK::press}}, {{0, EK::press}, true}}, "S"},
      {"other modifiers while fn is held",
       HotkeyChoice::fn,
       {{{464, EK::press}}, {{kLeftAlt, EK::press}}, {{kLeftAlt, EK::release}}, {{464, EK::release}}},
       "ST"},
  };
  for (const auto& c : cases) {
    std::string reports;
    HotkeyListener listener(
        nullptr, c.key, [&] { reports += 'S'; }, [&] { reports += 'T'; });
    for (const auto& input : c.inputs) {
      if (input.resyncDown)
        listener.resynchronise(*input.resyncDown);
      else
        listener.handle(input.event);
    }
    EXPECT_EQ(reports, c.reports) << c.name;
  }
}

TEST(HotkeyListener, LogsDownAndUp) {
  test::ScopedLogCapture capture;
  HotkeyListener listener(nullptr, HotkeyChoice::rightOption, nullptr, nullptr);
  listener.handle({kRightAlt, EK::press});
  EXPECT_TRUE(listener.keyDown());
  listener.handle({kRightAlt, EK::release});
  EXPECT_EQ(capture.sink().messages(), (std::vector<std::string>{"hotkey DOWN", "hotkey UP"}));
}

TEST(HotkeyListener, StartsTheSourceOnTheChosenKeyAndResynchronisesAfterAStop) {
  test::FakeKeySource source;
  std::string reports;
  HotkeyListener listener(
      &source, HotkeyChoice::rightControl, [&] { reports += 'S'; }, [&] { reports += 'T'; });
  source.refuse = true;
  EXPECT_FALSE(listener.start());
  EXPECT_FALSE(listener.isListening());
  source.refuse = false;
  ASSERT_TRUE(listener.start());
  EXPECT_EQ(source.starts, (std::vector<int>{97, 97}));
  source.press(97);
  listener.stop();
  EXPECT_FALSE(source.started());
  source.release(97);  // not seen: nothing is listening
  EXPECT_TRUE(listener.keyDown());
  listener.setHotkey(HotkeyChoice::fn);
  ASSERT_TRUE(listener.start());  // the state reading after the start reports the release
  EXPECT_EQ(source.starts.back(), 464);
  EXPECT_EQ(reports, "ST");
  EXPECT_FALSE(listener.keyDown());
  source.live = false;
  EXPECT_FALSE(listener.isLive());
}

TEST(TalkKeyMapping, HoldAndToggle) {
  struct Case {
    RecordingMode mode;
    std::string reports;  // S = start, T = stop
    std::string calls;
  };
  const Case cases[] = {
      {RecordingMode::hold, "STST", "DUDU"},
      {RecordingMode::toggle, "STST", "DU"},
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
