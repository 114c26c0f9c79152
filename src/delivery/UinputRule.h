#pragma once

namespace murvelo {

// The udev rule that lets members of the "input" group create the virtual keyboard the paste
// keystroke is typed on under Wayland, and where it is saved.
inline constexpr const char* kUinputUdevRule =
    "KERNEL==\"uinput\", GROUP=\"input\", MODE=\"0660\", OPTIONS+=\"static_node=uinput\"";
inline constexpr const char* kUinputUdevRuleFile = "/etc/udev/rules.d/70-murvelo-uinput.rules";

}  // namespace murvelo
