#include "hotkey/HotkeyListener.h"

#include "base/Diagnostics.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("hotkey");

}  // namespace

bool HotkeyListener::start() {
  if (!source_) return false;
  const int code = keyCodeOf(hotkey_);
  if (!source_->start(code, [this](const KeyEvent& event) { handle(event); })) {
    listening_ = false;
    return false;
  }
  listening_ = true;
  Diagnostics::shared().record("hotkey", "tapStarted",
                               std::string(rawValue(hotkey_)) + " " + source_->name());
  source_->requestState();
  return true;
}

void HotkeyListener::stop() {
  if (!listening_) return;
  listening_ = false;
  if (source_) source_->stop();
}

void HotkeyListener::handle(const KeyEvent& event) {
  if (event.code != keyCodeOf(hotkey_)) return;
  switch (event.kind) {
    case KeyEvent::Kind::press: step(true); break;
    case KeyEvent::Kind::release: step(false); break;
    case KeyEvent::Kind::repeat: break;
    case KeyEvent::Kind::state: resynchronise(event.down); break;
  }
}

void HotkeyListener::resynchronise(bool keyIsDownNow) {
  if (keyIsDownNow != keyDown_)
    Diagnostics::shared().record("hotkey", "inputResync", keyIsDownNow ? "down" : "up");
  step(keyIsDownNow);
}

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
