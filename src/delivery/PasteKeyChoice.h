#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "delivery/KeyPoster.h"

namespace murvelo {

// Window classes of the common terminal emulators, lower-case. Terminals take Ctrl+V as a control
// character, so they get Ctrl+Shift+V.
std::span<const std::string_view> knownTerminalClasses();

// Ctrl+Shift+V when any of the window's class names (compared without regard to case) is a known
// terminal or one the user added; Ctrl+V otherwise.
PasteKey choosePasteKey(const std::vector<std::string>& windowClasses,
                        const std::vector<std::string>& extraTerminals);

}  // namespace murvelo
