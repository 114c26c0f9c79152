#pragma once

#include <functional>

#include "hotkey/KeySource.h"
#include "hotkey/TalkKey.h"

namespace murvelo {

// Watches the talk key through a key source and turns its reports into one start and one stop
// per press. Main thread only.
class HotkeyListener {
 public:
  HotkeyListener(KeySource* source, HotkeyChoice hotkey, std::function<void()> onStart,
                 std::function<void()> onStop)
      : source_(source), hotkey_(hotkey), onStart_(std::move(onStart)), onStop_(std::move(onStop)) {}
  ~HotkeyListener() { stop(); }
  HotkeyListener(const HotkeyListener&) = delete;
  HotkeyListener& operator=(const HotkeyListener&) = delete;

  // Starts the source for the key and asks it for the key's state, so a key released while
  // nothing was listening reports its stop. False when the source cannot listen.
  bool start();
  // Stops the source; no callback is made, `keyDown` keeps its value until the next start.
  void stop();
  bool isListening() const { return listening_; }
  // Listening and the source still receives events.
  bool isLive() const { return listening_ && source_ && source_->isLive(); }

  // Reports of other keys and auto-repeats change nothing.
  void handle(const KeyEvent& event);
  // Feeds the key's current state into the step after a gap in the event stream.
  void resynchronise(bool keyIsDownNow);

  bool keyDown() const { return keyDown_; }
  HotkeyChoice hotkey() const { return hotkey_; }
  // Takes effect at the next start.
  void setHotkey(HotkeyChoice hotkey) { hotkey_ = hotkey; }

 private:
  void step(bool down);

  KeySource* source_;
  HotkeyChoice hotkey_;
  std::function<void()> onStart_;
  std::function<void()> onStop_;
  bool keyDown_ = false;
  bool listening_ = false;
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
