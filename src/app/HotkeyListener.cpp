#include "app/HotkeyListener.h"

#include "base/Diagnostics.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("hotkey");

}  // namespace

int keyCodeOf(HotkeyChoice key) {
  switch (key) {
    case HotkeyChoice::rightOption: return 100;   // KEY_RIGHTALT
    case HotkeyChoice::rightCommand: return 126;  // KEY_RIGHTMETA
    case HotkeyChoice::rightControl: return 97;   // KEY_RIGHTCTRL
    case HotkeyChoice::fn: return 464;            // KEY_FN
  }
  return 100;
}

void HotkeyListener::handle(const KeyEvent& event) {
  if (event.code != keyCodeOf(hotkey_)) return;
  switch (event.kind) {
    case KeyEvent::Kind::press: step(true); break;
    case KeyEvent::Kind::release: step(false); break;
    case KeyEvent::Kind::repeat: break;
  }
}

void HotkeyListener::resynchronise(bool keyIsDownNow) { step(keyIsDownNow); }

void HotkeyListener::step(bool down) {
  if (down && !keyDown_) {
    keyDown_ = true;
    Diagnostics::shared().record("hotkey", "down");
    kLog.info("hotkey DOWN");
    if (onStart_) onStart_();
  } else if (!down && keyDown_) {
    keyDown_ = false;
    Diagnostics::shared().record("hotkey", "up");
    kLog.info("hotkey UP");
    if (onStop_) onStop_();
  }
}

void TalkKeyMapping::onStart() {
  if (!target_) return;
  if (mode_() == RecordingMode::toggle && target_->isRecording())
    target_->keyUp();
  else
    target_->keyDown();
}

void TalkKeyMapping::onStop() {
  if (!target_) return;
  if (mode_() == RecordingMode::hold) target_->keyUp();
}

}  // namespace murvelo
