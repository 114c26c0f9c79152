#pragma once

#include <memory>
#include <vector>

#include "delivery/KeyPoster.h"

namespace murvelo {

// Paste chords through XTest on an X display; held keys read with XQueryKeymap.
class X11KeyPoster : public KeyPoster {
 public:
  // Null when the display cannot be opened. `talkKeysyms` are the talk key's keysyms, counted as
  // held modifiers next to Alt.
  static std::unique_ptr<X11KeyPoster> open(const char* display = nullptr,
                                            std::vector<unsigned long> talkKeysyms = {});
  ~X11KeyPoster() override;

  bool mayPostEvents() override;
  bool pasteBlockingModifierHeld() override;
  std::vector<std::string> focusedWindowClasses() override;
  int postPasteChord(PasteKey key) override;

  struct State;

 private:
  explicit X11KeyPoster(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace murvelo
