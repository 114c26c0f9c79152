#pragma once

#include <optional>

#include "base/Status.h"

namespace murvelo {

// The desktop's accessibility switch: org.a11y.Status.IsEnabled of the accessibility bus service
// on the session bus. Toolkits only expose their text fields while it is on.
struct AtspiStatus {
  // None when no session bus or no accessibility bus service answers within `timeoutMs`.
  static std::optional<bool> enabled(int timeoutMs = 500);
  // Turns it on or off for this session (what the desktop's accessibility setting does).
  static Status setEnabled(bool on, int timeoutMs = 500);
};

}  // namespace murvelo
