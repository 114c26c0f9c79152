#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <mutex>

#include "base/ManualLoop.h"
#include "hotkey/FakeKeySource.h"
#include "hotkey/HotkeyListener.h"
#include "hotkey/evdev/EvdevKeySource.h"
#include "support/Pump.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

constexpr int kRightAlt = KEY_RIGHTALT;

// Events as text: "+100" key down, "-100" up, "r100" auto-repeat (100 is Right Alt, 56 Left Alt,
// 30 A), "s0" a report, "d0" dropped events, "m100" a scan code.
std::vector<input_event> events(const std::string& text) {
  constexpr std::string_view kValues = "-+r";  // release, press, repeat
  std::vector<input_event> out;
  for (const auto& step : test::keySteps(text)) {
    input_event e{};
    switch (step.what) {
      case 's': e.type = EV_SYN, e.code = SYN_REPORT; break;
      case 'd': e.type = EV_SYN, e.code = SYN_DROPPED; break;
      case 'm': e.type = EV_MSC, e.code = MSC_SCAN, e.value = step.code; break;
      default: e.type = EV_KEY, e.code = static_cast<__u16>(step.code), e.value = kValues.find(step.what);
    }
    out.push_back(e);
  }
  return out;
}

// P press, R release, r repeat, 1/0 a state reading.
std::string describe(const std::vector<KeyEvent>& reports) {
  std::string out;
  for (const auto& r : reports)
    out += r.kind == KeyEvent::Kind::state ? (r.down ? '1' : '0') : "PRr"[static_cast<int>(r.kind)];
  return out;
}

TEST(EvdevKeyReader, RecordedStreamsBecomeReports) {
  struct Case {
    const char* name;
    const char* events;
    std::optional<bool> deviceState;  // what EVIOCGKEY answers
    std::string reports;
  };
  const Case cases[] = {
      {"press and release", "+100 s0 -100 s0", false, "PR"},
      {"auto-repeat", "+100 r100 r100 -100", false, "PrrR"},
      {"other keys", "+56 +30 m100 -56", false, ""},
      {"dropped events, key now down", "d0 -100 +100 s0 -100", true, "1R"},
      {"dropped events, release lost", "+100 d0 s0", false, "P0"},
      {"dropped events, device does not answer", "+100 d0 s0 r100", std::nullopt, "Pr"},
  };
  for (const auto& c : cases) {
    EvdevKeyReader reader(kRightAlt, [&] { return c.deviceState; });
    std::vector<KeyEvent> reports;
    for (const auto& e : events(c.events)) reader.feed(e, reports);
    EXPECT_EQ(describe(reports), c.reports) << c.name;
  }
}

// Keyboards as FIFOs in a temporary directory: the test writes recorded events into them, and
// answers the capability and state questions from its own table.
class EvdevKeySourceTest : public ::testing::Test {
 protected:
  struct Keyboard {
    int writer = -1;
    bool hasKey = true;
    bool keyDown = false;
  };

  // The source outlives the listener, which stops it on the way out.
  EvdevKeySource& makeSource(const std::string& folder = "") {
    EvdevDeviceOps ops;
    ops.open = [this](const std::string& path) {
      if (denied.count(path)) return -EACCES;
      int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
      return fd >= 0 ? fd : -errno;
    };
    ops.reportsKey = [this](int, const std::string& path, int) {
      std::lock_guard lock(mutex);
      return keyboards[path].hasKey;
    };
    ops.keyState = [this](int, const std::string& path, int) -> std::optional<bool> {
      std::lock_guard lock(mutex);
      return keyboards[path].keyDown;
    };
    source =
        std::make_unique<EvdevKeySource>(loop, (folder.empty() ? dir.path() : dir / folder).string(), ops);
    return *source;
  }
  bool listen() {
    listener = std::make_unique<HotkeyListener>(
        &makeSource(), HotkeyChoice::rightOption, [this] { reports += 'S'; }, [this] { reports += 'T'; });
    return listener->start();
  }

  std::string plug(const std::string& name, bool hasKey = true, bool keyDown = false) {
    const std::string path = (dir / name).string();
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::lock_guard lock(mutex);
    keyboards[path] = {::open(path.c_str(), O_RDWR | O_CLOEXEC), hasKey, keyDown};
    return path;
  }
  void unplug(const std::string& path) {
    close(keyboards[path].writer);
    unlink(path.c_str());
  }
  // Writes events; the device's state follows them, or is `state` when given (a damaged packet).
  void send(const std::string& path, const std::string& text, std::optional<bool> state = std::nullopt) {
    const auto written = events(text);
    {
      std::lock_guard lock(mutex);
      for (const auto& e : written)
        if (e.type == EV_KEY && e.code == kRightAlt) keyboards[path].keyDown = e.value != 0;
      if (state) keyboards[path].keyDown = *state;
    }
    const auto bytes = static_cast<ssize_t>(written.size() * sizeof(input_event));
    ASSERT_EQ(write(keyboards[path].writer, written.data(), bytes), bytes);
  }

  bool waitFor(const std::string& expected) {
    return test::pumpUntil(loop, [&] { return reports == expected; });
  }

  void TearDown() override {
    listener.reset();
    for (auto& [path, keyboard] : keyboards)
      if (keyboard.writer >= 0) close(keyboard.writer);
  }

  test::TempDir dir;
  ManualLoop loop;
  std::mutex mutex;
  std::map<std::string, Keyboard> keyboards;
  std::set<std::string> denied;
  std::unique_ptr<EvdevKeySource> source;
  std::unique_ptr<HotkeyListener> listener;
  std::string reports;
};

TEST_F(EvdevKeySourceTest, TheKeyIsDownWhileDownOnAnyKeyboard) {
  const std::string a = plug("event0");
  const std::string b = plug("event1");
  plug("event2", false);          // a mouse: not opened
  denied.insert(plug("event3"));  // skipped, not fatal
  ASSERT_TRUE(listen());
  EXPECT_EQ(source->deviceCount(), 2);
  send(a, "+100 s0");
  ASSERT_TRUE(waitFor("S"));
  send(b, "+100 s0 r100 s0");
  send(a, "-100 s0");
  send(b, "-100 s0");
  EXPECT_TRUE(waitFor("ST"));
  // Events lost in the kernel's buffer: the state reading after SYN_DROPPED tells the truth.
  send(a, "+100 s0");
  ASSERT_TRUE(waitFor("STS"));
  send(a, "d0 +100 s0", false);
  EXPECT_TRUE(waitFor("STST"));
}

TEST_F(EvdevKeySourceTest, KeyboardsComeAndGoWhileListening) {
  ASSERT_TRUE(listen());
  EXPECT_EQ(source->deviceCount(), 0);
  // Plugged in with the key already held: its state is read at once.
  const std::string a = plug("event5", true, true);
  ASSERT_TRUE(waitFor("S"));
  // Unplugged while held: a release.
  unplug(a);
  ASSERT_TRUE(waitFor("ST"));
  const std::string b = plug("event6");
  send(b, "+100 s0");
  EXPECT_TRUE(waitFor("STS"));
  EXPECT_TRUE(source->isLive());
}

TEST_F(EvdevKeySourceTest, CannotListenWithoutReadAccessOrDevices) {
  denied.insert(plug("event0"));
  denied.insert(plug("event1"));
  EvdevKeySource& locked = makeSource();
  EXPECT_FALSE(locked.start(kRightAlt, [](const KeyEvent&) {}));
  EXPECT_NE(locked.problem().find("sudo usermod -aG input $USER"), std::string::npos) << locked.problem();
  EXPECT_FALSE(locked.isLive());

  EvdevKeySource& nowhere = makeSource("missing");
  EXPECT_FALSE(nowhere.start(kRightAlt, [](const KeyEvent&) {}));
  EXPECT_FALSE(nowhere.mayListen());
}

}  // namespace
}  // namespace murvelo
