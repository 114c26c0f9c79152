#pragma once

#include <memory>
#include <string>

#include "delivery/KeyPoster.h"
#include "delivery/UinputRule.h"

namespace murvelo {

// Writes the key events of a paste chord (presses, then releases in reverse, each followed by a
// sync report) to `fd`: a uinput device, or any file descriptor. Returns how many key events were
// written in full.
int writePasteChord(int fd, PasteKey key);

// Paste chords on Wayland through a uinput virtual keyboard. The compositor gives no window class
// and no modifier state, so every window gets Ctrl+V and nothing is waited for.
class UinputKeyPoster : public KeyPoster {
 public:
  // Opens and creates the device; a poster that may not post when `path` is not writable.
  static std::unique_ptr<UinputKeyPoster> open(const std::string& path = "/dev/uinput");
  // Whether this user may open `path` for writing, without creating a device.
  static bool writable(const std::string& path = "/dev/uinput");
  ~UinputKeyPoster() override;

  bool mayPostEvents() override { return fd_ >= 0; }
  bool pasteBlockingModifierHeld() override { return false; }
  std::vector<std::string> focusedWindowClasses() override { return {}; }
  int postPasteChord(PasteKey key) override { return fd_ >= 0 ? writePasteChord(fd_, key) : 0; }

 private:
  explicit UinputKeyPoster(int fd) : fd_(fd) {}
  int fd_ = -1;
};

}  // namespace murvelo
