#pragma once

#include <string_view>

namespace murvelo::texts {

// The auto-paste switch of the settings and its two summaries.
inline constexpr std::string_view kAutoPaste = "Type my words automatically at the cursor";
inline constexpr std::string_view kAutoPasteOn = "Your words are pasted where you're typing.";
inline constexpr std::string_view kAutoPasteOff = "Your words are copied; press Ctrl+V to paste them.";

}  // namespace murvelo::texts
