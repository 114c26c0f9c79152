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

constexpr int kRightAlt = 100;

// Passes everything through and counts the state readings delivered.
class CountingSource : public KeySource {
 public:
  explicit CountingSource(KeySource& inner) : inner_(inner) {}
  bool start(int keyCode, Handler handler) override {
    return inner_.start(keyCode, [this, handler = std::move(handler)](const KeyEvent& event) {
      if (event.kind == KeyEvent::Kind::state) ++states;
      handler(event);
    });
  }
  void stop() override { inner_.stop(); }
  void requestState() override { inner_.requestState(); }
  bool isLive() const override { return inner_.isLive(); }
  bool mayListen() const override { return inner_.mayListen(); }
  std::string problem() const override { return inner_.problem(); }
  std::string name() const override { return inner_.name(); }
  int states = 0;

 private:
  KeySource& inner_;
};

// A real X server, the source on it and a listener on top; reports are written as S (start) and
// T (stop) in the order the main loop saw them.
class X11KeySourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::XvfbServer::available()) GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(server.start());
    source = std::make_unique<X11KeySource>(loop, server.display());
    counting = std::make_unique<CountingSource>(*source);
    keyboard = std::make_unique<test::XTestKeyboard>(server.display());
    ASSERT_TRUE(keyboard->ok());
  }
  void TearDown() override { listener.reset(); }

  bool listen(HotkeyChoice key) {
    listener = std::make_unique<HotkeyListener>(
        counting.get(), key, [this] { reports += 'S'; }, [this] { reports += 'T'; });
    if (!listener->start()) return false;
    // The first state reading has arrived once the listener is in step with the server.
    return settle();
  }

  // Runs the loop until a state reading asked for now has arrived, so every earlier key event
  // has been delivered too.
  bool settle() {
    counting->states = 0;
    source->requestState();
    return waitFor([&] { return counting->states > 0; });
  }

  template <typename Predicate>
  bool waitFor(Predicate done) {
    return test::pumpUntil(loop, done);
  }

  ManualLoop loop;
  test::XvfbServer server;
  std::unique_ptr<X11KeySource> source;
  std::unique_ptr<test::XTestKeyboard> keyboard;
  std::unique_ptr<CountingSource> counting;
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
      {"left alt", "+56 -56", ""},
      {"left held, right tapped", "+56 +100 -100 -56", "ST"},
      {"second press while down", "+100 +100 -100", "ST"},
      {"letters and other modifiers", "+30 -30 +29 -29", ""},
  };
  ASSERT_TRUE(listen(HotkeyChoice::rightOption));
  for (const auto& c : cases) {
    reports.clear();
    for (auto step : test::keySteps(c.keys))
      step.what == '+' ? keyboard->press(step.code) : keyboard->release(step.code);
    ASSERT_TRUE(settle()) << c.name;
    EXPECT_EQ(reports, c.reports) << c.name;
    EXPECT_FALSE(listener->keyDown()) << c.name;
  }
}

TEST_F(X11KeySourceTest, EachTalkKeyIsItsOwnCode) {
  for (HotkeyChoice key :
       {HotkeyChoice::rightOption, HotkeyChoice::rightCommand, HotkeyChoice::rightControl}) {
    reports.clear();
    ASSERT_TRUE(counting->start(keyCodeOf(key), [this](const KeyEvent& event) {
      if (event.kind == KeyEvent::Kind::press) reports += std::to_string(event.code) + "+";
      if (event.kind == KeyEvent::Kind::release) reports += std::to_string(event.code) + "-";
    }));
    for (int code : {kRightAlt, 126, 97}) {
      keyboard->press(code);
      keyboard->release(code);
    }
    ASSERT_TRUE(settle());
    const std::string code = std::to_string(keyCodeOf(key));
    EXPECT_EQ(reports, code + "+" + code + "-") << rawValue(key);
  }
  // fn never reaches X clients: the source says so instead of listening to nothing.
  EXPECT_FALSE(source->start(keyCodeOf(HotkeyChoice::fn), [](const KeyEvent&) {}));
  EXPECT_NE(source->problem().find("fn"), std::string::npos);
}

TEST_F(X11KeySourceTest, KeyHeldAcrossARestartIsReadBackAndAVanishedServerReleasesIt) {
  ASSERT_TRUE(listen(HotkeyChoice::rightControl));
  keyboard->press(97);
  ASSERT_TRUE(waitFor([&] { return reports == "S"; }));
  listener->stop();
  keyboard->release(97);
  ASSERT_TRUE(listener->start());
  ASSERT_TRUE(waitFor([&] { return reports == "ST"; }));  // the reading after the start

  keyboard->press(97);
  ASSERT_TRUE(waitFor([&] { return reports == "STS"; }));
  EXPECT_TRUE(listener->isLive());
  server.stop(true);
  EXPECT_TRUE(waitFor([&] { return reports == "STST" && !source->isLive(); }));
  listener->stop();  // returns although the worker is waiting to reconnect
  EXPECT_FALSE(source->start(97, [](const KeyEvent&) {}));
  EXPECT_NE(source->problem().find("cannot connect"), std::string::npos);
}

}  // namespace
}  // namespace murvelo
