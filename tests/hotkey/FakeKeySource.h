#pragma once

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "hotkey/HotkeyListener.h"
#include "hotkey/KeySource.h"

namespace murvelo::test {

// Key steps written as text: "+100" press, "-100" release, "r100" auto-repeat, "s1"/"s0" the key's
// state read after a gap in events (down/up).
struct KeyStep {
  char what;
  int code;
};
inline std::vector<KeyStep> keySteps(const std::string& text) {
  std::vector<KeyStep> steps;
  std::istringstream words(text);
  for (std::string word; words >> word;) steps.push_back({word[0], std::stoi(word.substr(1))});
  return steps;
}

// A key source the test drives: it refuses to start while `refuse` is set, remembers the codes it
// was started on, and delivers reports only while started, like a real source.
class FakeKeySource : public KeySource {
 public:
  bool start(int keyCode, Handler handler) override {
    starts.push_back(keyCode);
    if (refuse) return false;
    code_ = keyCode;
    handler_ = std::move(handler);
    return true;
  }
  void stop() override { handler_ = nullptr; }
  void requestState() override { deliver({code_, KeyEvent::Kind::state, held.count(code_) > 0}); }
  bool isLive() const override { return handler_ && live; }
  bool mayListen() const override { return !refuse; }
  std::string problem() const override { return refuse ? "not allowed" : ""; }
  std::string name() const override { return "fake"; }

  void press(int code) {
    held.insert(code);
    deliver({code, KeyEvent::Kind::press});
  }
  void deliver(const KeyEvent& event) {
    if (handler_) handler_(event);
  }

  bool refuse = false;
  bool live = true;
  std::set<int> held;  // what a state reading sees
  std::vector<int> starts;

 private:
  int code_ = 0;
  Handler handler_;
};

// The dictation controller as the talk key sees it: records "D" and "U" and tracks recording.
class RecordingTarget : public DictationKeyTarget {
 public:
  void keyDown() override {
    calls += 'D';
    recording = true;
  }
  void keyUp() override {
    calls += 'U';
    recording = false;
  }
  bool isRecording() const override { return recording; }
  std::string calls;
  bool recording = false;
};

}  // namespace murvelo::test
