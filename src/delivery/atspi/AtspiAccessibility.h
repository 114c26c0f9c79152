#pragma once

#include <chrono>
#include <memory>

#include "delivery/FocusedText.h"

namespace murvelo {

// The focused text element of the desktop through AT-SPI. Not thread-safe: libatspi keeps
// process-wide state, so one thread makes every call (AtspiCursorContextReader's worker).
class AtspiAccessibility : public Accessibility {
 public:
  // Connects to the accessibility bus, once per process; false while there is none. Without a
  // bus it asks again at most once a second, so a bus that starts later (the desktop session
  // comes up after the program) is still found. Every call is then bounded by the 0.1 s time-out.
  static bool connect();
  static bool connected();
  static constexpr std::chrono::milliseconds kRetryInterval{1000};

  // Gives up looking for the focused element at `deadline`.
  explicit AtspiAccessibility(std::chrono::steady_clock::time_point deadline) : deadline_(deadline) {}

  std::unique_ptr<FocusedText> focusedText() override;

 private:
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace murvelo
