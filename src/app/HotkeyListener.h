#pragma once

#include <functional>

#include "app/SettingsValues.h"

namespace murvelo {

// One report of a keyboard back-end (XInput2 raw events, evdev): a key code went down, came up,
// or auto-repeated.
struct KeyEvent {
  enum class Kind { press, release, repeat };
  int code = 0;
  Kind kind = Kind::press;
};

// The evdev key code of a talk key. Each back-end reports one code per physical key, so the
// left-hand key of the same modifier never matches.
int keyCodeOf(HotkeyChoice key);

// The talk key's state as the listener believes it, and the step that turns key reports into
// one start and one stop per press. Main thread only.
class HotkeyListener {
 public:
  HotkeyListener(HotkeyChoice hotkey, std::function<void()> onStart, std::function<void()> onStop)
      : hotkey_(hotkey), onStart_(std::move(onStart)), onStop_(std::move(onStop)) {}

  // Events of other keys and auto-repeats change nothing.
  void handle(const KeyEvent& event);
  // After a gap in the event stream (reconnect, device re-added): feeds the key's current state
  // into the step, so a release missed meanwhile still produces a stop.
  void resynchronise(bool keyIsDownNow);

  bool keyDown() const { return keyDown_; }
  HotkeyChoice hotkey() const { return hotkey_; }
  // A new key while none is held; the caller resynchronises afterwards.
  void setHotkey(HotkeyChoice hotkey) { hotkey_ = hotkey; }

 private:
  void step(bool down);

  HotkeyChoice hotkey_;
  std::function<void()> onStart_;
  std::function<void()> onStop_;
  bool keyDown_ = false;
};

// What the key mapping drives: the dictation controller.
class DictationKeyTarget {
 public:
  virtual ~DictationKeyTarget() = default;
  virtual void keyDown() = 0;
  virtual void keyUp() = 0;
  virtual bool isRecording() const = 0;
};

// Hold mode: down starts, up stops. Toggle mode: each press starts or stops, releases are
// ignored. Does nothing once the target is gone.
class TalkKeyMapping {
 public:
  TalkKeyMapping(std::function<RecordingMode()> mode, DictationKeyTarget* target)
      : mode_(std::move(mode)), target_(target) {}

  void onStart();
  void onStop();
  void detach() { target_ = nullptr; }

 private:
  std::function<RecordingMode()> mode_;
  DictationKeyTarget* target_;
};

}  // namespace murvelo
