#pragma once

#include <chrono>
#include <string_view>

namespace murvelo::notices {

// The controller's notices to the user, and how long each stays up.
inline constexpr std::string_view kStuck = "That one got stuck — give it another go";
inline constexpr std::string_view kNoWords = "Didn't catch any words — try again";
inline constexpr std::string_view kCopied = "Copied — press Ctrl+V to paste";
inline constexpr std::string_view kTyping = "Typing it out…";
inline constexpr std::string_view kNoAudio = "No microphone audio. Check Settings and try again.";
inline constexpr std::string_view kMicUnreachable = "Couldn't reach the microphone";
inline constexpr std::string_view kSelectedMicUnavailable =
    "Selected microphone unavailable. Check Settings.";
inline constexpr std::string_view kSubstitutedPrefix = "Using this computer's mic — ";
inline constexpr std::string_view kSubstitutedSuffix = " wakes slowly";
// Said once when the desktop shows no tray icons: the menu is out of reach.
inline constexpr std::string_view kNoTray = "Run murvelo again for Settings";
inline constexpr std::string_view kBluetoothSuffix = " needs a second — hold, then speak";

using Delay = std::chrono::milliseconds;
inline constexpr Delay kShort{2200};
inline constexpr Delay kMicrophoneProblem{6000};
inline constexpr Delay kCopyHint{8000};
inline constexpr Delay kTypingFlash{450};

}  // namespace murvelo::notices
