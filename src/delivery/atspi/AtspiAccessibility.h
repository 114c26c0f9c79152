#pragma once

#include <chrono>
#include <memory>

#include "delivery/FocusedText.h"

namespace murvelo {

// The focused text element of the desktop through AT-SPI. Not thread-safe: libatspi keeps
// process-wide state, so one thread makes every call (AtspiCursorContextReader's worker).
class AtspiAccessibility : public Accessibility {
 public:
  // Connects to the accessibility bus once per process; false when there is none. Every call
  // is then bounded by the 0.1 s time-out.
  static bool connect();

  // Gives up looking for the focused element at `deadline`.
  explicit AtspiAccessibility(std::chrono::steady_clock::time_point deadline) : deadline_(deadline) {}

  std::unique_ptr<FocusedText> focusedText() override;

 private:
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace murvelo
