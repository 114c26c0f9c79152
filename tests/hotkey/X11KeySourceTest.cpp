#include <gtest/gtest.h>

#include "base/ManualLoop.h"
#include "hotkey/FakeKeySource.h"
#include "hotkey/HotkeyListener.h"
#include "hotkey/XTestKeyboard.h"
#include "hotkey/x11/X11KeySource.h"
#include "support/Pump.h"
#include "support/XvfbServer.h"

namespace murvelo {
namespace {

// Counts the state readings it delivers.
class CountingSource : public X11KeySource {
 public:
  using X11KeySource::X11KeySource;
  bool start(int keyCode, Handler handler) override {
    return X11KeySource::start(keyCode, [this, handler = std::move(handler)](const KeyEvent& event) {
      states += event.kind == KeyEvent::Kind::state;
      handler(event);
    });
  }
  int states = 0;
};

// A real X server, the source on it and a listener on top; reports are written as S (start) and
// T (stop) in the order the main loop saw them.
class X11KeySourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::XvfbServer::available()) GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(server.start());
    source = std::make_unique<CountingSource>(loop, server.display());
    keyboard = std::make_unique<test::XTestKeyboard>(server.display());
    ASSERT_TRUE(keyboard->ok());
  }
  void TearDown() override { listener.reset(); }

  bool listen(HotkeyChoice key) {
    listener = std::make_unique<HotkeyListener>(
        source.get(), key, [this] { reports += 'S'; }, [this] { reports += 'T'; });
    if (!listener->start()) return false;
    // The first state reading has arrived once the listener is in step with the server.
    return settle();
  }

  // Runs the loop until a state reading asked for now has arrived, so every earlier key event
  // has been delivered too.
  bool settle() {
    source->states = 0;
    source->requestState();
    return test::pumpUntil(loop, [&] { return source->states > 0; });
  }

  ManualLoop loop;
  test::XvfbServer server;
  std::unique_ptr<CountingSource> source;
  std::unique_ptr<test::XTestKeyboard> keyboard;
  std::unique_ptr<HotkeyListener> listener;
  std::string reports;
};

TEST_F(X11KeySourceTest, RealKeyStrokesBecomeOneStartAndOneStop) {
  struct Case {
    const char* name;
    const char* keys;  // evdev codes, see test::keySteps: 56 Left Alt, 100 Right Alt, 30 A, 29 Left Ctrl
    std::string reports;
  };
  const Case cases[] = {
      {"right alt", "+100 -100", "ST"},
      {"left held, right tapped", "+56 +100 -100 -56", "ST"},
      {"second press while down", "+100 +100 -100", "ST"},
      {"letters and other modifiers", "+30 -30 +29 -29", ""},
  };
  // fn never reaches X clients: the source says so instead of listening to nothing.
  EXPECT_FALSE(source->start(keyCodeOf(HotkeyChoice::fn), [](const KeyEvent&) {}));
  EXPECT_NE(source->problem().find("fn"), std::string::npos);
  ASSERT_TRUE(listen(HotkeyChoice::rightOption));
  for (const auto& c : cases) {
    reports.clear();
    for (auto step : test::keySteps(c.keys)) keyboard->key(step.code, step.what == '+');
    ASSERT_TRUE(settle()) << c.name;
    EXPECT_EQ(reports, c.reports) << c.name;
    EXPECT_FALSE(listener->keyDown()) << c.name;
  }
}

TEST_F(X11KeySourceTest, KeyHeldAcrossARestartIsReadBackAndAVanishedServerReleasesIt) {
  ASSERT_TRUE(listen(HotkeyChoice::rightControl));
  keyboard->key(97, true);
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return reports == "S"; }));
  listener->stop();
  keyboard->key(97, false);
  ASSERT_TRUE(listener->start());
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return reports == "ST"; }));  // the reading after the start

  keyboard->key(97, true);
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return reports == "STS"; }));
  EXPECT_TRUE(listener->isLive());
  server.stop(true);
  EXPECT_TRUE(test::pumpUntil(loop, [&] { return reports == "STST" && !source->isLive(); }));
  listener->stop();  // returns although the worker is waiting to reconnect
  EXPECT_FALSE(source->start(97, [](const KeyEvent&) {}));
  EXPECT_NE(source->problem().find("cannot connect"), std::string::npos);
}

}  // namespace
}  // namespace murvelo
