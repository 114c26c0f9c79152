#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <mutex>
#include <thread>

#include "base/ManualLoop.h"
#include "hotkey/FakeKeySource.h"
#include "hotkey/HotkeyListener.h"
#include "hotkey/evdev/EvdevKeySource.h"
#include "support/Pump.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

constexpr int kRightAlt = KEY_RIGHTALT;

input_event ev(int type, int code, int value) {
  input_event event{};
  event.type = static_cast<__u16>(type);
  event.code = static_cast<__u16>(code);
  event.value = value;
  return event;
}
input_event key(int code, int value) { return ev(EV_KEY, code, value); }
input_event report() { return ev(EV_SYN, SYN_REPORT, 0); }
input_event dropped() { return ev(EV_SYN, SYN_DROPPED, 0); }

// P press, R release, r repeat, 1/0 a state reading.
std::string describe(const std::vector<KeyEvent>& reports) {
  std::string out;
  for (const auto& r : reports)
    out += r.kind == KeyEvent::Kind::state ? (r.down ? '1' : '0') : "PRr"[static_cast<int>(r.kind)];
  return out;
}

TEST(EvdevKeyReader, RecordedStreamsBecomeReports) {
  // Events as text: "+100" key down, "-100" up, "r100" auto-repeat (100 is Right Alt, 56 Left Alt,
  // 30 A), "s0" a report, "d0" dropped events, "m100" a scan code.
  auto events = [](const std::string& text) {
    std::vector<input_event> out;
    for (const auto& step : test::keySteps(text)) {
      switch (step.what) {
        case 's': out.push_back(report()); break;
        case 'd': out.push_back(dropped()); break;
        case 'm': out.push_back(ev(EV_MSC, MSC_SCAN, step.code)); break;
        default: out.push_back(key(step.code, step.what == '+' ? 1 : step.what == '-' ? 0 : 2));
      }
    }
    return out;
  };
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

  EvdevDeviceOps ops() {
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
    return ops;
  }

  std::string plug(const std::string& name, bool hasKey = true, bool keyDown = false) {
    const std::string path = (dir / name).string();
    {
      std::lock_guard lock(mutex);
      keyboards[path].hasKey = hasKey;
      keyboards[path].keyDown = keyDown;
    }
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    keyboards[path].writer = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    return path;
  }
  void unplug(const std::string& path) {
    close(keyboards[path].writer);
    unlink(path.c_str());
  }
  // Writes events; the device's state follows them unless they are a damaged packet.
  void send(const std::string& path, std::vector<input_event> events, bool trackState = true) {
    for (const auto& e : events) {
      if (trackState && e.type == EV_KEY && e.code == kRightAlt) {
        std::lock_guard lock(mutex);
        keyboards[path].keyDown = e.value != 0;
      }
    }
    ASSERT_EQ(write(keyboards[path].writer, events.data(), events.size() * sizeof(input_event)),
              static_cast<ssize_t>(events.size() * sizeof(input_event)));
  }

  // The source outlives the listener, which stops it on the way out.
  EvdevKeySource& makeSource() {
    source = std::make_unique<EvdevKeySource>(loop, dir.path().string(), ops());
    return *source;
  }

  bool listen(EvdevKeySource& source) {
    listener = std::make_unique<HotkeyListener>(
        &source, HotkeyChoice::rightOption, [this] { reports += 'S'; }, [this] { reports += 'T'; });
    return listener->start();
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
  plug("event2", false);  // a mouse: not opened
  const std::string locked = plug("event3");
  denied.insert(locked);  // skipped, not fatal
  ASSERT_TRUE(listen(makeSource()));
  EXPECT_EQ(source->deviceCount(), 2);
  send(a, {key(kRightAlt, 1), report()});
  ASSERT_TRUE(waitFor("S"));
  send(b, {key(kRightAlt, 1), report(), key(kRightAlt, 2), report()});
  send(a, {key(kRightAlt, 0), report()});
  send(b, {key(kRightAlt, 0), report()});
  EXPECT_TRUE(waitFor("ST"));
  // Events lost in the kernel's buffer: the state reading after SYN_DROPPED tells the truth.
  send(a, {key(kRightAlt, 1), report()});
  ASSERT_TRUE(waitFor("STS"));
  {
    std::lock_guard lock(mutex);
    keyboards[a].keyDown = false;
  }
  send(a, {dropped(), key(kRightAlt, 1), report()}, false);
  EXPECT_TRUE(waitFor("STST"));
}

TEST_F(EvdevKeySourceTest, KeyboardsComeAndGoWhileListening) {
  ASSERT_TRUE(listen(makeSource()));
  EXPECT_EQ(source->deviceCount(), 0);
  // Plugged in with the key already held: its state is read at once.
  const std::string a = plug("event5", true, true);
  ASSERT_TRUE(waitFor("S"));
  // Unplugged while held: a release.
  unplug(a);
  ASSERT_TRUE(waitFor("ST"));
  const std::string b = plug("event6");
  send(b, {key(kRightAlt, 1), report()});
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

  EvdevKeySource nowhere(loop, (dir / "missing").string(), ops());
  EXPECT_FALSE(nowhere.start(kRightAlt, [](const KeyEvent&) {}));
  EXPECT_FALSE(nowhere.mayListen());
}

}  // namespace
}  // namespace murvelo
