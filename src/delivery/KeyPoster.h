#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace murvelo {

enum class PasteKey { ctrlV, ctrlShiftV };

std::string_view pasteKeyName(PasteKey key);  // "ctrl+v", "ctrl+shift+v"

// Synthetic keystrokes into the focused window. One back-end per display system; each says at run
// time whether it can post at all.
class KeyPoster {
 public:
  virtual ~KeyPoster() = default;

  // Whether this session lets us post keyboard events. Does not prompt anyone.
  virtual bool mayPostEvents() = 0;
  // Whether Alt or the talk key is down right now; a paste chord posted meanwhile would combine
  // with it.
  virtual bool pasteBlockingModifierHeld() = 0;
  // The focused window's class names (WM_CLASS instance and class, or the app id); empty when
  // unknown.
  virtual std::vector<std::string> focusedWindowClasses() = 0;
  // Posts the chord's presses and releases; returns how many key events went out.
  virtual int postPasteChord(PasteKey key) = 0;
};

}  // namespace murvelo
